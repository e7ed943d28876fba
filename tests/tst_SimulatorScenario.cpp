#include "RawClient.h"
#include "RequestText.h"
#include "SteeredServer.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QTest>

class tst_SimulatorScenario : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void playsTheTimeline();
    void repeatsAnEventSoOften();
    void repeatsAnEventWithoutEnd();
    void logsWhatGoesWrongAndGoesOn();
    void setsFaultsAtTheStartAndLater();
    void takesTheTimeToConnectOneController();
    void connectsSeveralControllersAtOnce();
    void tellsTheOthersWhenTheAskerHasGone();
    void takesTheTimeToConnectWhatAppears();
    void leavesOutWhatIsAbsent();
    void hasALatencyForEachEquipment();
    void answersWithTheResultOfTheEquipment();
    void presetsTheMemory();
    void movesValuesInTheMemory();
    void sendsHeartbeatsAtItsInterval();
    void takesTheSameEquipmentFromAConfiguration();
    void refusesABadScenario();
    void refusesAScenarioBesideAConfiguration();
    void playsTheWorkshop();

private:
    void play(const QByteArray &json);
    QString hexAt(const QByteArray &fields);

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<RawClient> m_client;
};

void tst_SimulatorScenario::init()
{
    m_server.reset(new SteeredServer);
    m_client.reset(new RawClient);
}

void tst_SimulatorScenario::cleanup()
{
    m_client.reset();
    if (m_server->process.isRunning())
        QVERIFY2(m_server->end(), qPrintable(m_server->process.errors()));
    m_server.reset();
}

void tst_SimulatorScenario::play(const QByteArray &json)
{
    const QString file = SteeredServer::written(QStringLiteral("scenario.json"), json);
    QVERIFY2(m_server->start({QStringLiteral("--scenario"), file}),
             qPrintable(m_server->process.errors()));
    QVERIFY(m_client->registerAtServer());
}

QString tst_SimulatorScenario::hexAt(const QByteArray &fields)
{
    return m_server->control.call(R"({"do":"read",)" + fields + '}')
        .value(QLatin1String("hex"))
        .toString();
}

void tst_SimulatorScenario::playsTheTimeline()
{
    QElapsedTimer timer;
    timer.start();
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller"},
                                        {"key":"B","kind":"controller","absent":true}],
             "timeline":[{"at":2300,"do":"broadcast","key":"A","hex":"2A"},
                         {"at":1500,"do":"appear","key":"B"},
                         {"at":1900,"do":"disappear","key":"A"}]})");
    QCOMPARE(m_client->texts(0).constFirst(), QByteArray("A/1/0//0," KSPROXY_VERSION));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 5, 9, 9, 18}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 2300);
    QCOMPARE(m_client->texts(9), (QList<QByteArray>{"A/1/0//0,B/1/0//1", "B/1/0//1"}));
    QVERIFY(m_client->texts(18).constFirst().contains("data=Kg=="));
}

void tst_SimulatorScenario::repeatsAnEventSoOften()
{
    play(R"({"heartbeat":0,"timeline":[{"at":1500,"every":20,"times":3,"do":"heartbeat"},
                                       {"at":1500,"every":20,"times":1,"do":"notify","id":6},
                                       {"at":2000,"do":"notify","id":22}]})");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(22), 1, WaitLimitMs);
    QCOMPARE(m_client->count(4), 3);
    QCOMPARE(m_client->count(6), 1);
}

void tst_SimulatorScenario::repeatsAnEventWithoutEnd()
{
    play(R"({"heartbeat":0,"timeline":[{"at":0,"every":5,"do":"heartbeat"}]})");
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(4) >= 50, WaitLimitMs);
}

void tst_SimulatorScenario::logsWhatGoesWrongAndGoesOn()
{
    play(R"({"heartbeat":0,"timeline":[{"at":1500,"do":"appear","key":"COM1"},
                                       {"at":1600,"do":"notify","id":22}]})");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 22}), WaitLimitMs);
    QVERIFY(
        m_server->process.errors().contains(QLatin1String("timeline[0]: COM1 is there already\n")));
}

void tst_SimulatorScenario::setsFaultsAtTheStartAndLater()
{
    play(R"({"heartbeat":0,"faults":[{"fault":"drop","count":2}],
             "timeline":[{"at":100,"do":"fault","fault":"cut","after":3},
                         {"at":200,"do":"notify","id":22}]})");
    const QJsonArray faults
        = m_server->control.call(R"({"do":"faults"})").value(QLatin1String("faults")).toArray();
    QCOMPARE(faults.at(0).toObject(),
             (QJsonObject{{QStringLiteral("number"), 1},
                          {QStringLiteral("fault"), QStringLiteral("drop")},
                          {QStringLiteral("left"), 2}}));
    QTRY_COMPARE_WITH_TIMEOUT(m_server->control.call(R"({"do":"faults"})")
                                  .value(QLatin1String("faults"))
                                  .toArray()
                                  .size(),
                              2, WaitLimitMs);
    for (const char *serial : {"1", "2", "3"}) // the first suffers both
        m_client->send(7, readText(serial, "COM1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QVERIFY(m_client->texts(11).constFirst().startsWith("serialNum=3;"));
}

void tst_SimulatorScenario::takesTheTimeToConnectOneController()
{
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller","connectTime":300},
                                        {"key":"A/1","kind":"scanBoard","controller":"A"}]})");
    QElapsedTimer timer;
    timer.start();
    m_client->send(3, "A");
    m_client->send(14, "identify"); // served while it connects
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 5, 18, 9}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 300);
    QCOMPARE(m_client->texts(9).constFirst(), QByteArray("A/1/0//1,A#*#1/2/0//1"));
}

void tst_SimulatorScenario::connectsSeveralControllersAtOnce()
{
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller","connectTime":500},
                                        {"key":"B","kind":"controller","connectTime":400},
                                        {"key":"C","kind":"controller"}]})");
    QElapsedTimer timer;
    timer.start();
    m_client->send(4);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 7, 5, 5, 5, 8}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 500);
    QCOMPARE(m_client->texts(5), (QList<QByteArray>{"A", "B", "C"}));
    QCOMPARE(m_client->texts(8).constFirst(), QByteArray("A/1/0//1,B/1/0//1,C/1/0//1"));
}

void tst_SimulatorScenario::tellsTheOthersWhenTheAskerHasGone()
{
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller","connectTime":1500}]})");
    RawClient asker;
    QVERIFY(asker.connectToServer());
    asker.send(3, "A");
    asker.send(4);
    QTRY_COMPARE_WITH_TIMEOUT(asker.ids(), (QList<int>{5, 7, 5}), WaitLimitMs);
    asker.socket().abort();
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 5, 7, 5, 9, 8}), WaitLimitMs);
}

void tst_SimulatorScenario::takesTheTimeToConnectWhatAppears()
{
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller","connectTime":200,
                                         "absent":true}]})");
    QVERIFY(m_server->control.tell(R"({"do":"appear","key":"A"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{0, 5, 9, 9}), WaitLimitMs);
    QCOMPARE(m_client->texts(9), (QList<QByteArray>{"A/1/0//0", "A/1/0//1"}));
}

void tst_SimulatorScenario::leavesOutWhatIsAbsent()
{
    play(R"({"equipment":[{"key":"A","kind":"controller","absent":true},
                          {"key":"B","kind":"controller"}]})");
    QCOMPARE(m_client->texts(0).constFirst(), QByteArray("B/1/0//0," KSPROXY_VERSION));
}

void tst_SimulatorScenario::hasALatencyForEachEquipment()
{
    play(R"({"heartbeat":0,"equipment":[{"key":"A","kind":"controller","latency":300,"jitter":50},
                                        {"key":"B","kind":"controller"}]})");
    QElapsedTimer timer;
    timer.start();
    m_client->send(7, readText("1", "A", 0, 1));
    m_client->send(7, readText("2", "B", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 2, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 300);
    QVERIFY(m_client->texts(11).at(0).startsWith("serialNum=2;"));
}

void tst_SimulatorScenario::answersWithTheResultOfTheEquipment()
{
    play(R"({"equipment":[{"key":"A","kind":"controller","result":"rejected"},
                          {"key":"B","kind":"controller","result":44}]})");
    m_client->send(7, readText("1", "A", 0, 1));
    m_client->send(7, readText("2", "B", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 2, WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(11).at(0)).value("commResult"), QByteArray("2"));
    QCOMPARE(fieldsOf(m_client->texts(11).at(1)).value("commResult"), QByteArray("44"));
}

void tst_SimulatorScenario::presetsTheMemory()
{
    QVERIFY(!SteeredServer::written(QStringLiteral("memory.bin"), "Hello").isEmpty());
    play(R"({"equipment":[{"key":"A","kind":"controller","presets":[
        {"address":16,"file":"memory.bin"},{"port":1,"scanBoard":3,"hex":"CA FE"}]}]})");
    m_client->send(7, readText("1", "A", 15, 6));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QCOMPARE(QByteArray::fromBase64(fieldsOf(m_client->texts(11).constFirst()).value("data")),
             QByteArray("\0Hello", 6));
    QCOMPARE(hexAt(R"("key":"A","port":1,"scanBoard":3,"length":3)"), QStringLiteral("cafe00"));
}

void tst_SimulatorScenario::movesValuesInTheMemory()
{
    play(R"({"equipment":[{"key":"A","kind":"controller","values":[
        {"kind":"counter","bytes":1,"every":10},
        {"kind":"ramp","bytes":1,"every":10,"address":1,"from":7,"to":9},
        {"kind":"noise","bytes":1,"every":10,"address":2,"from":100,"to":103}]}]})");
    QSet<QString> counters;
    QSet<QString> ramps;
    QSet<QString> noises;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            const QString hex = hexAt(R"("key":"A","length":4)");
            counters.insert(hex.mid(0, 2));
            ramps.insert(hex.mid(2, 2));
            noises.insert(hex.mid(4, 2));
            return counters.size() > 20 && ramps.size() == 3 && noises.size() == 4;
        }(),
        WaitLimitMs);
    QCOMPARE(ramps,
             (QSet<QString>{QStringLiteral("07"), QStringLiteral("08"), QStringLiteral("09")}));
    QCOMPARE(noises,
             (QSet<QString>{QStringLiteral("64"), QStringLiteral("65"), QStringLiteral("66"),
                            QStringLiteral("67")}));
}

void tst_SimulatorScenario::sendsHeartbeatsAtItsInterval()
{
    QElapsedTimer timer;
    timer.start();
    play(R"({"heartbeat":100})");
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(4) >= 5, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 400);
}

void tst_SimulatorScenario::takesTheSameEquipmentFromAConfiguration()
{
    const QString file = SteeredServer::written(
        QStringLiteral("config.json"),
        R"({"equipment":[{"key":"A","kind":"controller","result":"rejected",
                          "presets":[{"hex":"11"}]}]})");
    QVERIFY(m_server->start({QStringLiteral("--config"), file}));
    QVERIFY(m_client->registerAtServer());
    m_client->send(7, readText("1", "A", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(11).at(0)).value("commResult"), QByteArray("2"));
    QCOMPARE(hexAt(R"("key":"A")"), QStringLiteral("11"));
}

void tst_SimulatorScenario::refusesABadScenario()
{
    const QString file
        = SteeredServer::written(QStringLiteral("bad.json"),
                                 R"({"timeline":[{"at":1,"do":"fault","fault":"drop","ms":1}]})");
    ServerProcess server;
    QVERIFY(!server.start({QStringLiteral("--scenario"), file}));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 2);
    QVERIFY2(server.errors().contains(file + QLatin1String(": timeline[0].ms: not known")),
             qPrintable(server.errors()));
}

void tst_SimulatorScenario::refusesAScenarioBesideAConfiguration()
{
    ServerProcess server;
    QVERIFY(!server.start({QStringLiteral("--config"), QStringLiteral("a"),
                           QStringLiteral("--scenario"), QStringLiteral("b")}));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 2);
    QVERIFY2(server.errors().contains(QLatin1String("--config cannot stand beside --scenario")),
             qPrintable(server.errors()));
}

void tst_SimulatorScenario::playsTheWorkshop()
{
    QVERIFY2(m_server->start({QStringLiteral("--scenario"),
                              QStringLiteral(KSPROXY_SOURCE_FOLDER "/examples/scenarios/"
                                                                   "workshop.json")}),
             qPrintable(m_server->process.errors()));
    QVERIFY(m_client->registerAtServer());
    QVERIFY(m_client->texts(0).constFirst().startsWith("COM1/1/1001/Press 7/0,"));
    QCOMPARE(QByteArray::fromHex(hexAt(R"("key":"COM1","address":256,"length":15)").toLatin1()),
             QByteArray("Press 7, hall B"));
    const QString before = hexAt(R"("key":"COM1","length":8)");
    QTRY_VERIFY_WITH_TIMEOUT(hexAt(R"("key":"COM1","length":8)") != before, WaitLimitMs);
    m_client->send(3, "COM1");
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(9) >= 1, WaitLimitMs);
    QVERIFY(m_client->texts(9).constFirst().startsWith("COM1/1/1001/Press 7/1,"));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->texts(9).last().contains("Conveyor"), WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_SimulatorScenario)
#include "tst_SimulatorScenario.moc"
