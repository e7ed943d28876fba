#include "RawClient.h"
#include "RequestText.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QFile>
#include <QTest>

class tst_DeviceServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void answersARegistrationWithTableAndVersion();
    void answersARegistrationAsTold_data();
    void answersARegistrationAsTold();
    void keepsSilentWhenTold();
    void connectsOneController();
    void saysWhenAControllerIsNotThere();
    void connectsAllControllers();
    void answersTheOrderIdentifyToEveryone();
    void connectsWhatAppearsLater_data();
    void connectsWhatAppearsLater();
    void sendsHeartbeats();

private:
    void start(const QStringList &arguments = QStringList());
    QMap<QByteArray, QByteArray> answerTo(int id, const QByteArray &text, int replyType);

    QScopedPointer<ServerProcess> m_server;
    QScopedPointer<RawClient> m_client;
};

void tst_DeviceServer::init()
{
    m_server.reset(new ServerProcess);
    m_client.reset(new RawClient);
}

void tst_DeviceServer::cleanup()
{
    m_client.reset();
    if (m_server->isRunning()) {
        m_server->terminate();
        QVERIFY(m_server->waitForEnd());
        QVERIFY2(!m_server->hasCrashed() && m_server->exitCode() == 0,
                 qPrintable(m_server->errors()));
    }
    m_server.reset();
}

void tst_DeviceServer::start(const QStringList &arguments)
{
    QVERIFY2(m_server->start(arguments), qPrintable(m_server->errors()));
    QVERIFY(m_client->connectToServer());
}

QMap<QByteArray, QByteArray> tst_DeviceServer::answerTo(int id, const QByteArray &text,
                                                        int replyType)
{
    const int before = m_client->count(replyType);
    m_client->send(id, text);
    if (!QTest::qWaitFor([&] { return m_client->count(replyType) > before; }, WaitLimitMs))
        return {};
    return fieldsOf(m_client->texts(replyType).last());
}

void tst_DeviceServer::answersARegistrationWithTableAndVersion()
{
    start();
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(0), 1, WaitLimitMs);
    QCOMPARE(m_client->texts(0).constFirst(),
             QByteArray("COM1/1/1001/Controller at a serial port/0,"
                        "COM1#*#1/2/2001/Scan board 1/0,"
                        "COM1#*#2/2/2002/Scan board 2/0,"
                        "192.168.0.20:5000/1/1002/Controller in the LAN/0,"
                        "192.168.0.20:5000#*#1/2/2003/Scan board in the LAN/0," KSPROXY_VERSION));
}

void tst_DeviceServer::answersARegistrationAsTold_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<int>("id");
    QTest::newRow("accept") << QStringLiteral("accept") << 0;
    QTest::newRow("reject") << QStringLiteral("reject") << 2;
    QTest::newRow("error") << QStringLiteral("error") << 3;
}

void tst_DeviceServer::answersARegistrationAsTold()
{
    QFETCH(QString, answer);
    QFETCH(int, id);
    start({QStringLiteral("--register"), answer});
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{id}, WaitLimitMs);
}

void tst_DeviceServer::keepsSilentWhenTold()
{
    start({QStringLiteral("--register"), QStringLiteral("silent")});
    m_client->send(0);
    // The answer to what comes after it proves that the registration was passed over.
    QCOMPARE(answerTo(7, readText("1", "COM1", 0, 1), 11).value("commResult"), QByteArray("0"));
    QCOMPARE(m_client->ids(), QList<int>{11});
}

void tst_DeviceServer::connectsOneController()
{
    start();
    RawClient other;
    QVERIFY(other.registerAtServer());
    m_client->send(3, "COM1");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9}), WaitLimitMs);
    QCOMPARE(m_client->texts(5), QList<QByteArray>{"COM1"});
    const QByteArray table = m_client->texts(9).constFirst();
    QVERIFY(table.startsWith("COM1/1/1001/Controller at a serial port/1,"
                             "COM1#*#1/2/2001/Scan board 1/1,COM1#*#2/2/2002/Scan board 2/1,"));
    QVERIFY(table.contains("192.168.0.20:5000/1/1002/Controller in the LAN/0"));
    QTRY_COMPARE_WITH_TIMEOUT(other.ids(), (QList<int>{0, 5, 9}), WaitLimitMs);
    QCOMPARE(other.texts(9), QList<QByteArray>{table});
}

void tst_DeviceServer::saysWhenAControllerIsNotThere()
{
    start();
    m_client->send(3, "COM1/1"); // a scan board
    m_client->send(3, "nobody");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9, 5, 9}), WaitLimitMs);
    QCOMPARE(m_client->texts(5), (QList<QByteArray>{"COM1/1", "nobody"}));
    QVERIFY(!m_client->texts(9).last().contains("/1,COM1"));
    QTRY_VERIFY_WITH_TIMEOUT(m_server->errors().contains(QLatin1String("\"nobody\"")), WaitLimitMs);
    QVERIFY(m_server->errors().contains(QLatin1String("\"COM1/1\"")));
}

void tst_DeviceServer::connectsAllControllers()
{
    start();
    m_client->send(4);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{7, 5, 5, 8}), WaitLimitMs);
    QCOMPARE(m_client->texts(5), (QList<QByteArray>{"COM1", "192.168.0.20:5000"}));
    const QList<QByteArray> records = m_client->texts(8).constFirst().split(',');
    QCOMPARE(records.size(), 5);
    for (const QByteArray &record : records)
        QVERIFY2(record.endsWith("/1"), record.constData());
}

void tst_DeviceServer::answersTheOrderIdentifyToEveryone()
{
    start();
    RawClient other;
    QVERIFY(other.registerAtServer());
    m_client->send(14, "something else");
    m_client->send(14, "identify");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{18}, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(other.count(18), 1, WaitLimitMs);
    const QByteArray text = m_client->texts(18).constFirst();
    QVERIFY(text.endsWith(",18"));
    const auto fields = fieldsOf(text.left(text.lastIndexOf(',')));
    QCOMPARE(fields.value("tag"), QByteArray("identify"));
    QCOMPARE(QByteArray::fromBase64(fields.value("data")),
             QByteArray("KVTServerMaster " KSPROXY_VERSION));
    QVERIFY(m_server->errors().contains(QLatin1String("\"something else\"")));
}

void tst_DeviceServer::connectsWhatAppearsLater_data()
{
    QTest::addColumn<QByteArray>("autoConnect");
    QTest::addColumn<QList<int>>("ids");
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("as it starts") << QByteArray() << QList<int>{5, 9} << QByteArray("1");
    QTest::newRow("switched on") << QByteArray("True") << QList<int>{5, 9} << QByteArray("1");
    QTest::newRow("switched off") << QByteArray("False") << QList<int>{9} << QByteArray("0");
    QTest::newRow("switched to nonsense")
        << QByteArray("true") << QList<int>{5, 9} << QByteArray("1");
}

void tst_DeviceServer::connectsWhatAppearsLater()
{
    QFETCH(QByteArray, autoConnect);
    QFETCH(QList<int>, ids);
    QFETCH(QByteArray, state);
    const QString config = testFolder() + QLatin1String("/late.json");
    QFile file(config);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(R"({"equipment":[{"key":"L","kind":"controller","appearsAfter":700}]})");
    file.close();
    start({QStringLiteral("--config"), config});
    m_client->send(0);
    if (!autoConnect.isEmpty())
        m_client->send(19, autoConnect);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(0), 1, WaitLimitMs);
    QCOMPARE(m_client->texts(0).constFirst(), QByteArray("," KSPROXY_VERSION));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{0} + ids, WaitLimitMs);
    QCOMPARE(m_client->texts(9).constFirst(), QByteArray("L/1/0//") + state);
    QCOMPARE(m_server->errors().contains(QLatin1String("neither True nor False")),
             autoConnect == "true");
}

void tst_DeviceServer::sendsHeartbeats()
{
    start();
    RawClient other;
    QVERIFY(other.connectToServer());
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(4) >= 2, WaitLimitMs);
    QVERIFY(other.count(4) >= 1);
    QCOMPARE(m_client->texts(4).constFirst(), QByteArray());
}

KSPROXY_TEST_MAIN(tst_DeviceServer)
#include "tst_DeviceServer.moc"
