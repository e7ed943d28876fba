#include "EquipmentConfig.h"
#include "EquipmentRack.h"
#include "TestMain.h"

#include <QTest>

class tst_ServerConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasASensibleBuiltInSet();
    void readsAllFields();
    void fillsInDefaults();
    void acceptsAScanBoardBeforeItsController();
    void namesWhatIsWrong_data();
    void namesWhatIsWrong();
    void keepsNothingOfABadText();
    void escapesKeysInTheTable();
};

void tst_ServerConfig::hasASensibleBuiltInSet()
{
    const QVector<EquipmentDescription> equipment = EquipmentConfig::builtIn();
    int controllers = 0;
    for (const EquipmentDescription &description : equipment)
        controllers += description.kind == EquipmentDescription::Kind::Controller ? 1 : 0;
    QCOMPARE(controllers, 2);
    QCOMPARE(equipment.size() - controllers, 3);
}

void tst_ServerConfig::readsAllFields()
{
    EquipmentConfig config;
    QVERIFY2(config.read(R"({"equipment":[
        {"key":"a","kind":"controller","serial":7,"text":"t\u00e4","memory":10,"ports":1,"scanBoards":2,
         "appearsAfter":30},
        {"key":"b","kind":"scanBoard","controller":"a"}]})"),
             qPrintable(config.error()));
    QCOMPARE(config.equipment().size(), 2);
    const EquipmentDescription &first = config.equipment().at(0);
    QCOMPARE(first.key, QStringLiteral("a"));
    QCOMPARE(first.kind, EquipmentDescription::Kind::Controller);
    QCOMPARE(first.serial, 7);
    QCOMPARE(first.text, QStringLiteral("tä"));
    QCOMPARE(first.memory, 10);
    QCOMPARE(first.ports, 1);
    QCOMPARE(first.scanBoards, 2);
    QCOMPARE(first.appearsAfterMs, 30);
    QCOMPARE(config.equipment().at(1).kind, EquipmentDescription::Kind::ScanBoard);
    QCOMPARE(config.equipment().at(1).controller, QStringLiteral("a"));
}

void tst_ServerConfig::fillsInDefaults()
{
    EquipmentConfig config;
    QVERIFY(config.read(R"({"equipment":[{"key":"a","kind":"controller"}]})"));
    const EquipmentDescription &only = config.equipment().constFirst();
    QCOMPARE(only.memory, 65536);
    QCOMPARE(only.ports, 2);
    QCOMPARE(only.scanBoards, 4);
    QCOMPARE(only.appearsAfterMs, 0);
    QVERIFY(config.read(R"({"equipment":[]})"));
    QVERIFY(config.equipment().isEmpty());
}

void tst_ServerConfig::acceptsAScanBoardBeforeItsController()
{
    EquipmentConfig config;
    QVERIFY(config.read(R"({"equipment":[{"key":"b","kind":"scanBoard","controller":"a"},
                                         {"key":"a","kind":"controller"}]})"));
}

void tst_ServerConfig::namesWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("place");
    const auto entry
        = [](const QByteArray &fields) { return R"({"equipment":[{)" + fields + "}]}"; };
    const auto row = [](const char *name, const QByteArray &json, const char *place) {
        QTest::newRow(name) << json << QString::fromLatin1(place);
    };
    row("nothing", "", "line 1, column 1:");
    row("not JSON", "{\n  \"equipment\": [}\n", "line 2, column");
    row("ends early", R"({"equipment":[)", "line 1");
    row("not an object", "[]", "line 1: an object");
    row("no list", "{}", "equipment: a list");
    row("list of another kind", R"({"equipment":{}})", "equipment: a list");
    row("unknown name at the top", R"({"equipment":[],"more":1})", "more: not known");
    row("entry of another kind", R"({"equipment":[1]})", "equipment[0]: an object");
    row("no key", entry(R"("kind":"controller")"), "equipment[0].key: a text that is not empty");
    row("empty key", entry(R"("key":"","kind":"controller")"),
        "equipment[0].key: a text that is not");
    row("key of another kind", entry(R"("key":1,"kind":"controller")"), "equipment[0].key: a text");
    row("key beyond Latin-1", entry(R"("key":"\u4e2d","kind":"controller")"),
        "equipment[0].key: only");
    row("key that cannot be escaped", entry(R"("key":"a/,b","kind":"controller")"),
        "equipment[0].key: \"a/,b\" cannot be told apart");
    row("key like an escape", entry(R"("key":"*#*","kind":"controller")"),
        "equipment[0].key: \"*#*\"");
    row("key twice",
        R"({"equipment":[{"key":"a","kind":"controller"},{"key":"a","kind":"controller"}]})",
        "equipment[1].key: \"a\" is there already");
    row("no kind", entry(R"("key":"a")"), "equipment[0].kind: \"controller\" or");
    row("unknown kind", entry(R"("key":"a","kind":"toaster")"),
        "equipment[0].kind: \"controller\" or");
    row("unknown name", entry(R"("key":"a","kind":"controller","colour":1)"),
        "equipment[0].colour: not known");
    row("text with a comma", entry(R"("key":"a","kind":"controller","text":"x,y")"),
        "equipment[0].text:");
    row("text with a slash", entry(R"("key":"a","kind":"controller","text":"x/y")"),
        "equipment[0].text:");
    row("text beyond Latin-1", entry(R"("key":"a","kind":"controller","text":"\u0100")"),
        "equipment[0].text: only");
    row("memory as text", entry(R"("key":"a","kind":"controller","memory":"1")"),
        "equipment[0].memory: a whole number from 1 to 16777216");
    row("no memory", entry(R"("key":"a","kind":"controller","memory":0)"), "equipment[0].memory:");
    row("broken number", entry(R"("key":"a","kind":"controller","memory":1.5)"),
        "equipment[0].memory:");
    row("too much memory", entry(R"("key":"a","kind":"controller","memory":16777217)"),
        "equipment[0].memory:");
    row("huge number", entry(R"("key":"a","kind":"controller","memory":1e300)"),
        "equipment[0].memory:");
    row("too many ports", entry(R"("key":"a","kind":"controller","ports":129)"),
        "equipment[0].ports:");
    row("no scan boards", entry(R"("key":"a","kind":"controller","scanBoards":0)"),
        "equipment[0].scanBoards:");
    row("too much in all",
        entry(R"("key":"a","kind":"controller","memory":16777216,"ports":128,"scanBoards":1024)"),
        "equipment[0]: memory * ports * scanBoards");
    row("serial number of 32 bits", entry(R"("key":"a","kind":"controller","serial":2147483648)"),
        "equipment[0].serial:");
    row("negative time", entry(R"("key":"a","kind":"controller","appearsAfter":-1)"),
        "equipment[0].appearsAfter:");
    row("scan board of nobody", entry(R"("key":"a","kind":"scanBoard")"),
        "equipment[0].controller:");
    row("scan board of an unknown controller",
        entry(R"("key":"a","kind":"scanBoard","controller":"x")"),
        "equipment[0].controller: there is no controller \"x\"");
    row("scan board of itself", entry(R"("key":"a","kind":"scanBoard","controller":"a")"),
        "equipment[0].controller:");
    row("controller of an empty controller",
        entry(R"("key":"a","kind":"controller","controller":"")"),
        "equipment[0].controller: a controller belongs to none");
    row("controller of a controller", entry(R"("key":"a","kind":"controller","controller":"a")"),
        "equipment[0].controller: a controller belongs to none");
}

void tst_ServerConfig::namesWhatIsWrong()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, place);
    EquipmentConfig config;
    QVERIFY(!config.read(json));
    QVERIFY2(config.error().startsWith(place), qPrintable(config.error()));
}

void tst_ServerConfig::keepsNothingOfABadText()
{
    EquipmentConfig config;
    QVERIFY(config.read(R"({"equipment":[{"key":"a","kind":"controller"}]})"));
    QVERIFY(!config.read(R"({"equipment":[{"key":"b","kind":"controller"},{"key":"c"}]})"));
    QVERIFY(config.equipment().isEmpty());
}

void tst_ServerConfig::escapesKeysInTheTable()
{
    EquipmentConfig config;
    QVERIFY(config.read(
        R"({"equipment":[{"key":"a,b/c","kind":"controller","serial":5,"text":"T"}]})"));
    EquipmentRack rack(config.equipment());
    QCOMPARE(rack.tableText(), QStringLiteral("a*#*b#*#c/1/5/T/0"));
    QVERIFY(rack.connectEquipment(QStringLiteral("a,b/c")));
    QVERIFY(!rack.connectEquipment(QStringLiteral("a")));
    QCOMPARE(rack.tableText(), QStringLiteral("a*#*b#*#c/1/5/T/1"));
}

KSPROXY_TEST_MAIN(tst_ServerConfig)
#include "tst_ServerConfig.moc"
