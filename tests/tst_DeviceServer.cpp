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
    void readsBackWhatWasWritten_data();
    void readsBackWhatWasWritten();
    void readsZerosWhereNothingWasWritten();
    void keepsPortsAndScanBoardsApart();
    void refusesWhatIsNotThere_data();
    void refusesWhatIsNotThere();
    void copiesTheHeaderIntoTheReply();
    void tellsTheOthersOfAWrite();
    void answersTheOrderIdentifyToEveryone();
    void dropsAndAnswersCancelledRequests();
    void cancelsForOneKeyOnly();
    void keepsTheOrderOfDelayedRequests();
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

void tst_DeviceServer::readsBackWhatWasWritten_data()
{
    QTest::addColumn<int>("writeId");
    QTest::addColumn<int>("readId");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<int>("address");
    QTest::newRow("data of a controller") << 10 << 7 << QByteArray("COM1") << 0x40;
    QTest::newRow("data of a scan board") << 10 << 7 << QByteArray("COM1/1") << 0;
    QTest::newRow("memory data") << 12 << 9 << QByteArray("COM1") << 0x100;
    QTest::newRow("at the end of the memory") << 10 << 7 << QByteArray("COM1") << 65536 - 5;
}

void tst_DeviceServer::readsBackWhatWasWritten()
{
    QFETCH(int, writeId);
    QFETCH(int, readId);
    QFETCH(QByteArray, key);
    QFETCH(int, address);
    start();
    const Fields kind = writeId == 12 ? MemDataKind : Fields();
    const QByteArray data("a\0b\xFFz", 5);
    const auto written = answerTo(writeId, writeText("5", key, address, data, kind), writeId + 4);
    QCOMPARE(written.value("commResult"), QByteArray("0"));
    QCOMPARE(written.value("serialNum"), QByteArray("5"));
    QCOMPARE(written.value("data"), QByteArray());
    const auto read = answerTo(readId, readText("6", key, address, data.size(), kind), readId + 4);
    QCOMPARE(read.value("commResult"), QByteArray("0"));
    QCOMPARE(read.value("serialNum"), QByteArray("6"));
    QCOMPARE(read.value("data"), data.toBase64());
}

void tst_DeviceServer::readsZerosWhereNothingWasWritten()
{
    start();
    const auto read = answerTo(7, readText("1", "COM1", 9, 3), 11);
    QCOMPARE(QByteArray::fromBase64(read.value("data")), QByteArray(3, '\0'));
    QCOMPARE(read.value("dataLength"), QByteArray("3"));
}

void tst_DeviceServer::keepsPortsAndScanBoardsApart()
{
    start();
    const Fields port1{{"portAddr", "1"}};
    const Fields board1{{"scanBoardAddr", "1"}};
    answerTo(10, writeText("1", "COM1", 0, "here"), 14);
    answerTo(10, writeText("2", "COM1", 0, "port", port1), 14);
    answerTo(10, writeText("3", "COM1", 0, "scan", board1), 14);
    const auto dataOf = [this](const Fields &place) {
        return QByteArray::fromBase64(
            answerTo(7, readText("4", "COM1", 0, 4, place), 11).value("data"));
    };
    QCOMPARE(dataOf(Fields()), QByteArray("here"));
    QCOMPARE(dataOf(port1), QByteArray("port"));
    QCOMPARE(dataOf(board1), QByteArray("scan"));
}

void tst_DeviceServer::refusesWhatIsNotThere_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("result");
    const QByteArray rejected("2");
    const QByteArray noEquipment("3");
    QTest::newRow("read of an unknown key") << 7 << readText("1", "COM9", 0, 1) << noEquipment;
    QTest::newRow("write to an unknown key") << 10 << writeText("1", "", 0, "x") << noEquipment;
    QTest::newRow("read beyond the end") << 7 << readText("1", "COM1", 65535, 2) << rejected;
    QTest::newRow("write beyond the end") << 10 << writeText("1", "COM1", 65535, "xy") << rejected;
    QTest::newRow("address far beyond") << 7 << readText("1", "COM1", 0x7FFFFFFF, 1) << rejected;
    QTest::newRow("read of nothing") << 7 << readText("1", "COM1", 0, 0) << rejected;
    QTest::newRow("read of less than nothing") << 7 << readText("1", "COM1", 0, -1) << rejected;
    QTest::newRow("longest read") << 7 << readText("1", "COM1", 1, 0x7FFFFFFF) << rejected;
    QTest::newRow("negative port")
        << 7 << readText("1", "COM1", 0, 1, {{"portAddr", "-1"}}) << rejected;
    QTest::newRow("port too high")
        << 7 << readText("1", "COM1", 0, 1, {{"portAddr", "2"}}) << rejected;
    QTest::newRow("scan board too high")
        << 10 << writeText("1", "COM1", 0, "x", {{"scanBoardAddr", "4"}}) << rejected;
    QTest::newRow("negative scan board")
        << 10 << writeText("1", "COM1", 0, "x", {{"scanBoardAddr", "-2147483648"}}) << rejected;
    QTest::newRow("read of a file") << 8 << readText("1", "COM1", 0, 1, FileKind) << rejected;
    QTest::newRow("write of a file") << 11 << writeText("1", "COM1", 0, "x", FileKind) << rejected;
    QTest::newRow("memory data of an unknown key")
        << 9 << readText("1", "COM9", 0, 1, MemDataKind) << noEquipment;
}

void tst_DeviceServer::refusesWhatIsNotThere()
{
    QFETCH(int, id);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, result);
    start();
    const auto answer = answerTo(id, text, id + 4);
    QCOMPARE(answer.value("commResult"), result);
    QCOMPARE(answer.value("serialNum"), QByteArray("1"));
    QCOMPARE(answer.value("dataLength"), QByteArray("0"));
}

void tst_DeviceServer::copiesTheHeaderIntoTheReply()
{
    start();
    const Fields header{{"deviceType", "-7"}, {"desAddr", "3"},       {"scrAddr", "-4"},
                        {"reserved2", "11"},  {"timeout", "1500"},    {"tag", "a%2Cb%E4%B8%AD"},
                        {"portAddr", "1"},    {"scanBoardAddr", "2"}, {"later", "field"}};
    const auto answer = answerTo(7, readText("18446744073709551615", "COM1", 0x10, 1, header), 11);
    for (const auto &[name, value] : header) {
        if (name != "later")
            QCOMPARE(answer.value(name), value);
    }
    QCOMPARE(answer.value("serialNum"), QByteArray("18446744073709551615"));
    QCOMPARE(answer.value("lowAddr"), QByteArray("16"));
}

void tst_DeviceServer::tellsTheOthersOfAWrite()
{
    start();
    RawClient registered;
    RawClient unregistered;
    QVERIFY(registered.registerAtServer());
    QVERIFY(unregistered.connectToServer());
    QCOMPARE(answerTo(10, writeText("8", "COM1", 4, "news"), 14).value("commResult"),
             QByteArray("0"));
    answerTo(12, writeText("9", "COM1", 4, "more", MemDataKind), 16);
    answerTo(10, writeText("10", "COM9", 4, "refused"), 14);
    QTRY_COMPARE_WITH_TIMEOUT(registered.count(18), 2, WaitLimitMs);
    const QByteArray first = registered.texts(18).at(0);
    QVERIFY(first.endsWith(",14"));
    const auto fields = fieldsOf(first.left(first.lastIndexOf(',')));
    QCOMPARE(fields.value("data"), QByteArray("news").toBase64());
    QCOMPARE(fields.value("serverConnectionKey"), QByteArray("COM1"));
    QCOMPARE(fields.value("lowAddr"), QByteArray("4"));
    QVERIFY(registered.texts(18).at(1).endsWith(",16"));
    // Markers: whoever got nothing would have got it before these answers.
    registered.send(7, readText("1", "COM1", 0, 1));
    unregistered.send(7, readText("1", "COM1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(registered.count(11), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(unregistered.count(11), 1, WaitLimitMs);
    QCOMPARE(registered.count(18), 2);
    QCOMPARE(unregistered.count(18), 0);
    QCOMPARE(m_client->count(18), 0);
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

void tst_DeviceServer::dropsAndAnswersCancelledRequests()
{
    start({QStringLiteral("--latency"), QStringLiteral("600000")});
    RawClient other;
    QVERIFY(other.connectToServer());
    other.send(7, readText("70", "COM1", 0, 1));
    m_client->send(10, writeText("1", "COM1", 0, "x"));
    m_client->send(7, readText("2", "COM1", 0, 1));
    m_client->send(5);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{14, 11}), WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(14).constFirst()).value("commResult"), QByteArray("6"));
    QCOMPARE(fieldsOf(m_client->texts(11).constFirst()).value("commResult"), QByteArray("6"));
    QCOMPARE(fieldsOf(m_client->texts(11).constFirst()).value("serialNum"), QByteArray("2"));
    // Another client's requests are not touched: a marker that it gets comes without its answer.
    other.send(14, "identify");
    QTRY_COMPARE_WITH_TIMEOUT(other.ids(), QList<int>{18}, WaitLimitMs);
}

void tst_DeviceServer::cancelsForOneKeyOnly()
{
    start({QStringLiteral("--latency"), QStringLiteral("400")});
    m_client->send(10, writeText("1", "COM1", 0, "cancelled"));
    m_client->send(7, readText("2", "COM1/1", 0, 1));
    m_client->send(7, readText("3", "COM1", 0, 9));
    m_client->send(6, "COM1");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{14, 11}), WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(11).constFirst()).value("serialNum"), QByteArray("3"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 2, WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(11).last()).value("serialNum"), QByteArray("2"));
    QCOMPARE(fieldsOf(m_client->texts(11).last()).value("commResult"), QByteArray("0"));
    const auto read = answerTo(7, readText("4", "COM1", 0, 9), 11);
    QCOMPARE(QByteArray::fromBase64(read.value("data")), QByteArray(9, '\0'));
}

void tst_DeviceServer::keepsTheOrderOfDelayedRequests()
{
    start({QStringLiteral("--latency"), QStringLiteral("50")});
    QElapsedTimer timer;
    timer.start();
    for (int i = 1; i <= 20; ++i)
        m_client->send(7, readText(QByteArray::number(i), "COM1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 20, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 50);
    const QList<QByteArray> replies = m_client->texts(11);
    for (int i = 0; i < replies.size(); ++i)
        QCOMPARE(fieldsOf(replies.at(i)).value("serialNum"), QByteArray::number(i + 1));
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
