#include "CtlProcess.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <csignal>

namespace {

QString writtenConfig(const QByteArray &json)
{
    const QString fileName = testFolder() + QLatin1String("/equipment.json");
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size())
        qFatal("the configuration cannot be written");
    return fileName;
}

} // namespace

/// The verbs about the server and its equipment table, with a real server.
class tst_CtlTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void saysTheStatus();
    void saysTheStatusInJson();
    void listsTheTable();
    void listsTheTableInJson();
    void listsTheKeys();
    void listsAnEmptyTable();
    void keepsTheListUpToDate();
    void keepsTheListUpToDateInJson();
    void connectsControllers();
    void connectsControllersThatAreUp();
    void connectsAllControllers();
    void switchesAutomaticConnection();
    void sendsCommands_data();
    void sendsCommands();
    void staysQuiet_data();
    void staysQuiet();
    void showsTheSessionsLogWhenVerbose();

private:
    ServerProcess m_server;
    CtlProcess m_ctl;
};

void tst_CtlTable::init()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start({QStringLiteral("--verbose")}));
}

void tst_CtlTable::saysTheStatus()
{
    QVERIFY(m_ctl.run({QStringLiteral("status")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(m_ctl.output().contains("registration  confirmed\nversion       " KSPROXY_VERSION
                                    "\nequipment     5\n"));
    QCOMPARE(m_ctl.errors(), QString());
}

void tst_CtlTable::saysTheStatusInJson()
{
    QVERIFY(m_ctl.run({QStringLiteral("status"), QStringLiteral("--json")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    const QJsonObject status = m_ctl.json();
    QCOMPARE(status.value(QLatin1String("registered")), QJsonValue(true));
    QCOMPARE(status.value(QLatin1String("version")), QJsonValue(QStringLiteral(KSPROXY_VERSION)));
    QCOMPARE(status.value(QLatin1String("equipment")), QJsonValue(5));
    QVERIFY(status.value(QLatin1String("running")).isBool());
}

void tst_CtlTable::listsTheTable()
{
    QVERIFY(m_ctl.run({QStringLiteral("list")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(
        m_ctl.output(),
        QByteArray("KEY                  KIND        SERIAL  CONNECTED  TEXT\n"
                   "192.168.0.20:5000    controller  1002    no         Controller in the LAN\n"
                   "192.168.0.20:5000/1  scan board  2003    no         Scan board in the LAN\n"
                   "COM1                 controller  1001    no         Controller at a serial "
                   "port\n"
                   "COM1/1               scan board  2001    no         Scan board 1\n"
                   "COM1/2               scan board  2002    no         Scan board 2\n"));
    QCOMPARE(m_ctl.errors(), QString());
}

void tst_CtlTable::listsTheTableInJson()
{
    QVERIFY(m_ctl.run({QStringLiteral("list"), QStringLiteral("--json")}));
    const QJsonArray equipment = m_ctl.json().value(QLatin1String("equipment")).toArray();
    QCOMPARE(equipment.size(), 5);
    const QJsonObject expected{{QStringLiteral("key"), QStringLiteral("COM1/2")},
                               {QStringLiteral("kind"), QStringLiteral("scan board")},
                               {QStringLiteral("serial"), 2002},
                               {QStringLiteral("text"), QStringLiteral("Scan board 2")},
                               {QStringLiteral("connected"), false}};
    QCOMPARE(equipment.at(4).toObject(), expected);
}

void tst_CtlTable::listsTheKeys()
{
    QVERIFY(m_ctl.run({QStringLiteral("list"), QStringLiteral("--keys")}));
    QCOMPARE(m_ctl.output(),
             QByteArray("192.168.0.20:5000\n192.168.0.20:5000/1\nCOM1\nCOM1/1\nCOM1/2\n"));
}

void tst_CtlTable::listsAnEmptyTable()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start({QStringLiteral("--config"), writtenConfig(R"({"equipment": []})")}));
    QVERIFY(m_ctl.run({QStringLiteral("list")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray("KEY  KIND  SERIAL  CONNECTED  TEXT\n"));
    QVERIFY(m_ctl.run({QStringLiteral("read"), QStringLiteral("COM1")}));
    QCOMPARE(m_ctl.exitCode(), 5);
    QCOMPARE(
        m_ctl.errors(),
        QStringLiteral("ksproxyctl: There is no equipment \"COM1\" here: there is none at all.\n"));
}

void tst_CtlTable::keepsTheListUpToDate()
{
    m_ctl.start({QStringLiteral("list"), QStringLiteral("--watch")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 6, WaitLimitMs);
    CtlProcess other;
    QVERIFY(other.run({QStringLiteral("connect"), QStringLiteral("COM1")}));
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 13, WaitLimitMs);
    QVERIFY(m_ctl.output().contains("\n\nKEY  "));
    QVERIFY(m_ctl.output().contains("COM1/2               scan board  2002    yes "));
    m_ctl.sendSignal(SIGINT);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
    QCOMPARE(m_ctl.errors(), QStringLiteral("ksproxyctl: Interrupted.\n"));
}

void tst_CtlTable::keepsTheListUpToDateInJson()
{
    m_ctl.start({QStringLiteral("list"), QStringLiteral("--watch"), QStringLiteral("--json")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 1, WaitLimitMs);
    CtlProcess other;
    QVERIFY(other.run({QStringLiteral("connect"), QStringLiteral("COM1")}));
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 2, WaitLimitMs);
    QCOMPARE(m_ctl.output().count("{\"equipment\":[{"), 2);
    m_ctl.sendSignal(SIGTERM);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
}

void tst_CtlTable::connectsControllers()
{
    QVERIFY(m_ctl.run({QStringLiteral("connect"), QStringLiteral("COM1")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray("COM1 connecting\nCOM1 connected\n"));
    QVERIFY(m_ctl.run({QStringLiteral("list")}));
    QCOMPARE(m_ctl.output().count("  yes  "), 3); // it and its scan boards
}

void tst_CtlTable::connectsControllersThatAreUp()
{
    const QStringList arguments{QStringLiteral("connect"), QStringLiteral("COM1")};
    QVERIFY(m_ctl.run(arguments));
    QVERIFY(m_ctl.run(arguments));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray("COM1 connecting\nCOM1 connected\n"));
    QTRY_COMPARE_WITH_TIMEOUT(m_server.errors().count(QLatin1String(": 3 \"COM1\"")), 2,
                              WaitLimitMs);
}

void tst_CtlTable::connectsAllControllers()
{
    QVERIFY(
        m_ctl.run({QStringLiteral("connect"), QStringLiteral("--all"), QStringLiteral("--json")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(),
             QByteArray("{\"key\":\"COM1\",\"state\":\"connecting\"}\n"
                        "{\"key\":\"192.168.0.20:5000\",\"state\":\"connecting\"}\n"
                        "{\"key\":\"192.168.0.20:5000\",\"state\":\"connected\"}\n"
                        "{\"key\":\"COM1\",\"state\":\"connected\"}\n"));
}

void tst_CtlTable::switchesAutomaticConnection()
{
    QVERIFY(m_ctl.run({QStringLiteral("auto-connect"), QStringLiteral("on")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray("Automatic connection is on.\n"));
    QVERIFY(m_ctl.run(
        {QStringLiteral("auto-connect"), QStringLiteral("off"), QStringLiteral("--json")}));
    QCOMPARE(m_ctl.output(), QByteArray("{\"autoConnect\":false}\n"));
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(QLatin1String("19 \"False\"")),
                             WaitLimitMs);
    QVERIFY(m_server.errors().contains(QLatin1String("19 \"True\"")));
}

void tst_CtlTable::sendsCommands_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("received");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("cancel all") << QStringList{QStringLiteral("cancel"), QStringLiteral("--all")}
                                << QStringLiteral(": 5 \"\"")
                                << QByteArray("Cancelled the requests to all equipment.\n");
    QTest::newRow("cancel one") << QStringList{QStringLiteral("cancel"), QStringLiteral("COM1/1")}
                                << QStringLiteral(": 6 \"COM1/1\"")
                                << QByteArray("Cancelled the requests to COM1/1.\n");
    QTest::newRow("cancel one in JSON")
        << QStringList{QStringLiteral("cancel"), QStringLiteral("COM1"), QStringLiteral("--json")}
        << QStringLiteral(": 6 \"COM1\"") << QByteArray("{\"cancelled\":\"COM1\"}\n");
    QTest::newRow("order") << QStringList{QStringLiteral("order"), QStringLiteral("turn"),
                                          QStringLiteral("left")}
                           << QStringLiteral(": 14 \"turn left\"")
                           << QByteArray("Sent \"turn left\".\n");
    QTest::newRow("order with what looks like an option")
        << QStringList{QStringLiteral("order"), QStringLiteral("--"), QStringLiteral("-x"),
                       QStringLiteral("[a,b]")}
        << QStringLiteral(": 14 \"-x [a,b]\"") << QByteArray("Sent \"-x [a,b]\".\n");
}

void tst_CtlTable::sendsCommands()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, received);
    QVERIFY(m_ctl.run(arguments));
    QCOMPARE(m_ctl.exitCode(), 0);
    QTEST(m_ctl.output(), "output");
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(received), WaitLimitMs);
}

void tst_CtlTable::staysQuiet_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::newRow("done") << QStringList{QStringLiteral("order"), QStringLiteral("identify")} << 0;
    QTest::newRow("failed") << QStringList{QStringLiteral("read"), QStringLiteral("COM9")} << 5;
}

void tst_CtlTable::staysQuiet()
{
    QFETCH(QStringList, arguments);
    QVERIFY(m_ctl.run(arguments + QStringList{QStringLiteral("--quiet")}));
    QTEST(m_ctl.exitCode(), "code");
    QCOMPARE(m_ctl.output(), QByteArray());
    QCOMPARE(m_ctl.errors(), QString());
}

void tst_CtlTable::showsTheSessionsLogWhenVerbose()
{
    QVERIFY(m_ctl.run({QStringLiteral("list"), QStringLiteral("--verbose")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    const QStringList lines = m_ctl.errors().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY(lines.size() > 1);
    for (const QString &line : lines)
        QVERIFY2(line.startsWith(QLatin1String("ksproxyctl: ")), qPrintable(line));
}

KSPROXY_TEST_MAIN(tst_CtlTable)
#include "tst_CtlTable.moc"
