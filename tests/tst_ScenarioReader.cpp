#include "EquipmentRack.h"
#include "FaultKinds.h"
#include "FaultPlan.h"
#include "JsonFields.h"
#include "ScenarioReader.h"
#include "TestMain.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

namespace {

constexpr char OneController[] = R"("equipment":[{"key":"a","kind":"controller","memory":100}])";

} // namespace

class tst_ScenarioReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fillsInDefaults();
    void readsAllFieldsOfTheEquipment();
    void readsFaultsAndTimeline();
    void readsPresetsFromAFileBesideIt();
    void namesWhatIsWrong_data();
    void namesWhatIsWrong();
    void namesTheFile();
    void keepsNothingOfABadText();
    void keepsNoNumberThatIsOutOfItsRange();
    void knowsEveryFault();
    void drawsTheSameFromTheSameSeed();
    void movesValues_data();
    void movesValues();
    void keepsNoiseInItsBounds();
};

void tst_ScenarioReader::fillsInDefaults()
{
    ScenarioReader reader;
    QVERIFY2(reader.read("{}"), qPrintable(reader.error()));
    const Scenario &scenario = reader.scenario();
    QCOMPARE(scenario.equipment.size(), 5); // the built-in set
    QCOMPARE(scenario.seed, 1U);
    QCOMPARE(scenario.heartbeatMs, 3000);
    QVERIFY(scenario.faults.isEmpty());
    QVERIFY(scenario.timeline.isEmpty());
    QVERIFY(reader.read(R"({"equipment":[]})"));
    QVERIFY(reader.scenario().equipment.isEmpty());
}

void tst_ScenarioReader::readsAllFieldsOfTheEquipment()
{
    ScenarioReader reader;
    QVERIFY2(reader.read(R"({"seed":4294967295,"heartbeat":0,"equipment":[
        {"key":"a","kind":"controller","absent":true,"latency":5,"jitter":6,"connectTime":7,
         "result":"timedOut","presets":[{"port":1,"scanBoard":2,"address":3,"hex":"0A0b"}],
         "values":[{"kind":"ramp","port":1,"scanBoard":3,"address":8,"bytes":4,"every":50,
                    "from":-5,"to":5,"step":2}]}]})"),
             qPrintable(reader.error()));
    QCOMPARE(reader.scenario().seed, 4294967295U);
    QCOMPARE(reader.scenario().heartbeatMs, 0);
    const EquipmentDescription &only = reader.scenario().equipment.constFirst();
    QVERIFY(only.isAbsent);
    QCOMPARE(only.latencyMs, 5);
    QCOMPARE(only.jitterMs, 6);
    QCOMPARE(only.connectTimeMs, 7);
    QCOMPARE(only.result, TarnEnum::TimedOut);
    const EquipmentDescription::Preset &preset = only.presets.constFirst();
    QCOMPARE(preset.place.port, 1);
    QCOMPARE(preset.place.scanBoard, 2);
    QCOMPARE(preset.place.address, 3U);
    QCOMPARE(preset.data, QByteArray("\x0A\x0B"));
    const ChangingValue &value = only.values.constFirst();
    QCOMPARE(value.kind, ChangingValue::Kind::Ramp);
    QCOMPARE(value.place.scanBoard, 3);
    QCOMPARE(value.bytes, 4);
    QCOMPARE(value.everyMs, 50);
    QCOMPARE(value.from, -5);
    QCOMPARE(value.to, 5);
    QCOMPARE(value.step, 2);
}

void tst_ScenarioReader::readsFaultsAndTimeline()
{
    ScenarioReader reader;
    QVERIFY2(reader.read(R"({"faults":[{"fault":"length","difference":-2,"count":4,"ids":[11]}],
        "timeline":[{"at":5,"do":"heartbeat"},
                    {"at":6,"every":7,"times":8,"do":"appear","key":"COM1"}]})"),
             qPrintable(reader.error()));
    const Fault &fault = reader.scenario().faults.constFirst();
    QCOMPARE(fault.kind(), Fault::Kind::Length);
    QCOMPARE(fault.parameter("difference"), -2);
    QCOMPARE(fault.parameter("field"), -1);
    QVERIFY(fault.concerns({11, QString()}));
    QVERIFY(!fault.concerns({12, QString()}));
    QCOMPARE(reader.scenario().timeline.at(0).everyMs, 0);
    const Scenario::Event &second = reader.scenario().timeline.at(1);
    QCOMPARE(second.place, QStringLiteral("timeline[1]"));
    QCOMPARE(second.atMs, 6);
    QCOMPARE(second.everyMs, 7);
    QCOMPARE(second.times, 8);
}

void tst_ScenarioReader::readsPresetsFromAFileBesideIt()
{
    QFile file(testFolder() + QLatin1String("/preset.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray("a\0b", 3));
    file.close();
    ScenarioReader reader;
    const QByteArray json
        = R"({"equipment":[{"key":"a","kind":"controller","presets":[{"file":"preset.bin"}]}]})";
    QVERIFY2(reader.read(json, testFolder()), qPrintable(reader.error()));
    QCOMPARE(reader.scenario().equipment.constFirst().presets.constFirst().data,
             QByteArray("a\0b", 3));
    QVERIFY(!reader.read(json, testFolder() + QLatin1String("/nowhere")));
    QVERIFY2(reader.error().startsWith(QLatin1String("equipment[0].presets[0].file: "))
                 && reader.error().contains(QLatin1String("/nowhere/preset.bin cannot be read")),
             qPrintable(reader.error()));
}

void tst_ScenarioReader::namesWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("place");
    const auto row = [](const char *name, const QByteArray &json, const char *place) {
        QTest::newRow(name) << json << QString::fromLatin1(place);
    };
    const auto equipment = [](const QByteArray &fields) {
        return R"({"equipment":[{"key":"a","kind":"controller","memory":100,)" + fields + "}]}";
    };
    const auto event = [](const QByteArray &fields) {
        return '{' + QByteArray(OneController) + R"(,"timeline":[{)" + fields + "}]}";
    };
    row("not JSON", "{\n}}", "line 2, column 2: ");
    row("not an object", "[]", "line 1: an object");
    row("unknown name", R"({"colour":1})",
        "colour: not known; known are equipment, seed, heartbeat, faults, timeline");
    row("equipment of another kind", R"({"equipment":{}})", "equipment: a list");
    row("bad equipment", R"({"equipment":[{"key":"a"}]})", "equipment[0].kind: ");
    row("negative seed", R"({"seed":-1})", "seed: a whole number from 0 to 4294967295");
    row("heartbeat of another kind", R"({"heartbeat":true})", "heartbeat: a whole number");
    row("absent as a number", equipment(R"("absent":1)"), "equipment[0].absent: true or false");
    row("latency too small", equipment(R"("latency":-2)"), "equipment[0].latency: a whole");
    row("jitter too large", equipment(R"("jitter":3600001)"), "equipment[0].jitter: a whole");
    row("negative connection time", equipment(R"("connectTime":-1)"), "equipment[0].connectTime:");
    row("unknown result", equipment(R"("result":"late")"), "equipment[0].result: a whole number");
    row("broken result", equipment(R"("result":1.5)"), "equipment[0].result: a whole number");
    row("presets of another kind", equipment(R"("presets":1)"), "equipment[0].presets: a list");
    row("preset of another kind", equipment(R"("presets":[1])"),
        "equipment[0].presets[0]: an object");
    row("empty preset", equipment(R"("presets":[{}])"),
        "equipment[0].presets[0].file: either \"file\" or \"hex\"");
    row("preset twice", equipment(R"("presets":[{"file":"x","hex":"00"}])"),
        "equipment[0].presets[0].file: either");
    row("preset with bad digits", equipment(R"("presets":[{"hex":"0"}])"),
        "equipment[0].presets[0].hex: pairs");
    row("preset beyond the memory", equipment(R"("presets":[{"address":99,"hex":"0000"}])"),
        "equipment[0].presets[0].address: 2 bytes there leave the memory");
    row("preset at no port", equipment(R"("presets":[{"port":2,"hex":"00"}])"),
        "equipment[0].presets[0].address: 1 bytes there leave the memory");
    row("preset with an unknown name", equipment(R"("presets":[{"hex":"00","at":1}])"),
        "equipment[0].presets[0].at: not known");
    row("preset from a file that is too long",
        equipment(R"("presets":[{"file":"/proc/self/exe"}])"),
        "equipment[0].presets[0].file: /proc/self/exe is longer than 100 bytes");
    row("value without a kind", equipment(R"("values":[{}])"),
        "equipment[0].values[0].kind: \"ramp\", \"counter\" or \"noise\"");
    row("value beyond the memory",
        equipment(R"("values":[{"kind":"counter"},{"kind":"counter","address":99}])"),
        "equipment[0].values[1].address: 2 bytes there leave the memory");
    row("value too wide", equipment(R"("values":[{"kind":"counter","bytes":9}])"),
        "equipment[0].values[0].bytes: a whole number from 1 to 8");
    row("value too fast", equipment(R"("values":[{"kind":"counter","every":9}])"),
        "equipment[0].values[0].every: a whole number from 10");
    row("value with its bounds reversed",
        equipment(R"("values":[{"kind":"noise","from":5,"to":4}])"),
        "equipment[0].values[0].to: a whole number from 5");
    row("noise in steps", equipment(R"("values":[{"kind":"noise","step":1}])"),
        "equipment[0].values[0].step: not known");
    row("counter with an end", equipment(R"("values":[{"kind":"counter","to":1}])"),
        "equipment[0].values[0].to: not known");
    row("faults of another kind", R"({"faults":{}})", "faults: a list");
    row("fault without a name", R"({"faults":[{}]})", "faults[0].fault: \"delay\", ");
    row("unknown fault", R"({"faults":[{"fault":"drop"},{"fault":"fire"}]})",
        "faults[1].fault: \"delay\", ");
    row("unknown parameter", R"({"faults":[{"fault":"drop","ms":1}]})",
        "faults[0].ms: not known; known are fault, count, messages, ids, key");
    row("bad identifiers", R"({"faults":[{"fault":"drop","ids":[256]}]})",
        "faults[0].ids[0]: a whole number from 0 to 255");
    row("identifiers of another kind", R"({"faults":[{"fault":"drop","ids":11}]})",
        "faults[0].ids: a list");
    row("timeline of another kind", R"({"timeline":1})", "timeline: a list");
    row("event without a time", event(R"("do":"heartbeat")"), "timeline[0].at: is required");
    row("event before the start", event(R"("at":-1,"do":"heartbeat")"), "timeline[0].at: a whole");
    row("event without a command", event(R"("at":1)"), "timeline[0].do: \"appear\"");
    row("unknown command", event(R"("at":1,"do":"dance")"), "timeline[0].do: \"appear\"");
    row("event of unknown equipment", event(R"("at":1,"do":"appear","key":"b")"),
        "timeline[0].key: there is no equipment \"b\"");
    row("event at no interval", event(R"("at":1,"every":0,"do":"heartbeat")"),
        "timeline[0].every: a whole number from 1");
    row("times without an interval", event(R"("at":1,"times":2,"do":"heartbeat")"),
        "timeline[0].times: only together with \"every\"");
    row("event with an unknown name", event(R"("at":1,"do":"heartbeat","key":"a")"),
        "timeline[0].key: not known");
}

void tst_ScenarioReader::namesWhatIsWrong()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, place);
    ScenarioReader reader;
    QVERIFY(!reader.read(json));
    QVERIFY2(reader.error().startsWith(place), qPrintable(reader.error()));
}

void tst_ScenarioReader::namesTheFile()
{
    ScenarioReader reader;
    QVERIFY(!reader.readFile(QStringLiteral("/nowhere.json")));
    QVERIFY2(reader.error().startsWith(QLatin1String("/nowhere.json: cannot be read: ")),
             qPrintable(reader.error()));
}

void tst_ScenarioReader::keepsNothingOfABadText()
{
    ScenarioReader reader;
    QVERIFY(reader.read(R"({"seed":5,"faults":[{"fault":"drop"}]})"));
    QVERIFY(!reader.read(R"({"seed":6,"faults":[{"fault":"drop"}],"timeline":[1]})"));
    QCOMPARE(reader.scenario().seed, 1U);
    QVERIFY(reader.scenario().faults.isEmpty());
    QVERIFY(reader.scenario().equipment.isEmpty());
}

// Such as one that no integer can hold.
void tst_ScenarioReader::keepsNoNumberThatIsOutOfItsRange()
{
    QString error;
    JsonFields fields({{QStringLiteral("ids"), QJsonArray{7, 1e46, -1e46, 256, 1.5, 255}}},
                      QString(), &error);
    QCOMPARE(fields.numbers("ids", 0, 255), (QVector<qint64>{7, 255}));
    QCOMPARE(error, QStringLiteral("ids[1]: a whole number from 0 to 255 is expected"));
}

void tst_ScenarioReader::knowsEveryFault()
{
    ScenarioReader reader;
    for (const FaultKinds::Entry &entry : FaultKinds::all()) {
        const QByteArray json = R"({"faults":[{"fault":")" + entry.name.toLatin1() + R"("}]})";
        QVERIFY2(reader.read(json), qPrintable(reader.error()));
        QCOMPARE(reader.scenario().faults.constFirst().kind(), entry.kind);
    }
}

void tst_ScenarioReader::drawsTheSameFromTheSameSeed()
{
    ScenarioReader reader;
    QVERIFY(reader.read(R"({"equipment":[{"key":"a","kind":"controller","jitter":1000},
                                         {"key":"b","kind":"controller","jitter":1000}],
                            "faults":[{"fault":"jitter","ms":100000,"count":0}]})"));
    const auto draw = [&reader](quint32 seed) {
        EquipmentRack rack(reader.scenario().equipment, seed);
        FaultPlan faults(seed);
        faults.add(reader.scenario().faults.constFirst());
        QVector<qint64> drawn;
        for (int i = 0; i < 20; ++i) {
            drawn.append(rack.find(QStringLiteral("a"))->takeLatencyMs(0));
            drawn.append(faults.take({11, QString()}).constFirst().parameter("ms"));
        }
        return drawn;
    };
    QCOMPARE(draw(3), draw(3));
    QVERIFY(draw(3) != draw(4));
    EquipmentRack rack(reader.scenario().equipment, 3);
    QVector<int> first;
    QVector<int> second;
    for (int i = 0; i < 20; ++i) {
        first.append(rack.find(QStringLiteral("a"))->takeLatencyMs(0));
        second.append(rack.find(QStringLiteral("b"))->takeLatencyMs(0));
    }
    QVERIFY(first != second);
}

void tst_ScenarioReader::movesValues_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::addColumn<QList<QByteArray>>("stored"); // one after the other
    QTest::newRow("ramp") << QByteArray(R"("kind":"ramp","from":3,"to":8,"step":2)")
                          << QList<QByteArray>{"0300", "0500", "0700", "0300"};
    QTest::newRow("ramp below 0") << QByteArray(R"("kind":"ramp","bytes":1,"from":-2,"to":0)")
                                  << QList<QByteArray>{"fe", "ff", "00", "fe"};
    QTest::newRow("counter") << QByteArray(R"("kind":"counter","bytes":4,"from":254)")
                             << QList<QByteArray>{"fe000000", "ff000000", "00010000"};
    QTest::newRow("counter that wraps around")
        << QByteArray(R"("kind":"counter","bytes":1,"from":250,"step":5)")
        << QList<QByteArray>{"fa", "ff", "04"};
    QTest::newRow("noise in no room")
        << QByteArray(R"("kind":"noise","from":258,"to":258)") << QList<QByteArray>{"0201", "0201"};
}

void tst_ScenarioReader::movesValues()
{
    QFETCH(QByteArray, fields);
    QFETCH(QList<QByteArray>, stored);
    ScenarioReader reader;
    QVERIFY2(reader.read(R"({"equipment":[{"key":"a","kind":"controller","values":[{)" + fields
                         + "}]}]}"),
             qPrintable(reader.error()));
    const ChangingValue value = reader.scenario().equipment.constFirst().values.constFirst();
    QRandomGenerator random(1);
    qint64 now = value.from;
    for (const QByteArray &bytes : stored) {
        QCOMPARE(value.encoded(now).toHex(), bytes);
        now = value.next(now, &random);
    }
}

void tst_ScenarioReader::keepsNoiseInItsBounds()
{
    ChangingValue value;
    value.kind = ChangingValue::Kind::Noise;
    value.from = -2;
    value.to = 2;
    QRandomGenerator random(1);
    QSet<qint64> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(value.next(0, &random));
    QCOMPARE(seen, (QSet<qint64>{-2, -1, 0, 1, 2}));
}

KSPROXY_TEST_MAIN(tst_ScenarioReader)
#include "tst_ScenarioReader.moc"
