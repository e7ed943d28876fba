#include "RequestText.h"
#include "SteeredTest.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QTest>

class tst_SimulatorCommands : public SteeredTest
{
    Q_OBJECT

private Q_SLOTS:
    void tellsItsStatus();
    void listsTheEquipment();
    void hasEquipmentDisappearAndAppear();
    void bringsBackTheBoardsThatWentWithTheirController();
    void connectsAndDisconnectsEquipment();
    void refusesWhatIsNotThere_data();
    void refusesWhatIsNotThere();
    void broadcastsATypedReply_data();
    void broadcastsATypedReply();
    void sendsAHeartbeat();
    void notifiesRegisteredClients();
    void sendsRawBytes();
    void setsALatency();
    void setsAJitterOnTopOfTheLatency();
    void answersWithAResult_data();
    void answersWithAResult();
    void readsAndWritesMemory();
    void dropsAClient();
    void stallsAndReleasesOneClient();
    void stallsAndReleasesEveryone();
    void answersRegistrationsFromThenOn();
    void exitsWithAGoodbye();
    void exitsWithoutAGoodbye();

private:
    QByteArray resultOf(int serial);
};

QByteArray tst_SimulatorCommands::resultOf(int serial)
{
    const int before = m_client->count(11);
    m_client->send(7, readText(QByteArray::number(serial), "COM1", 0, 1));
    if (!QTest::qWaitFor([&] { return m_client->count(11) > before; }, WaitLimitMs))
        return {};
    return fieldsOf(m_client->texts(11).last()).value("commResult");
}

void tst_SimulatorCommands::tellsItsStatus()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    m_client->send(19, "False");
    m_client->send(7, readText("1", "COM1", 0, 1));
    QVERIFY(isServed(m_client.data()));
    const QJsonObject status = call(R"({"do":"status"})");
    QCOMPARE(status.value(QLatin1String("version")).toString(), QStringLiteral(KSPROXY_VERSION));
    QCOMPARE(status.value(QLatin1String("automaticConnection")), QJsonValue(false));
    QCOMPARE(status.value(QLatin1String("clients")).toArray(),
             (QJsonArray{QJsonObject{{QStringLiteral("client"), 1},
                                     {QStringLiteral("registered"), true},
                                     {QStringLiteral("stalled"), false},
                                     {QStringLiteral("received"), 4},
                                     {QStringLiteral("sent"), 4}},
                         QJsonObject{{QStringLiteral("client"), 2},
                                     {QStringLiteral("registered"), false},
                                     {QStringLiteral("stalled"), false},
                                     {QStringLiteral("received"), 1},
                                     {QStringLiteral("sent"), 2}}}));
    const QJsonObject received{{QStringLiteral("0"), 1},
                               {QStringLiteral("7"), 1},
                               {QStringLiteral("14"), 2},
                               {QStringLiteral("19"), 1}};
    QCOMPARE(status.value(QLatin1String("received")).toObject(), received);
    QCOMPARE(status.value(QLatin1String("sent")).toObject(),
             (QJsonObject{
                 {QStringLiteral("0"), 1}, {QStringLiteral("11"), 1}, {QStringLiteral("18"), 4}}));
    // What a client sent still counts when it has gone.
    unregistered.socket().abort();
    QTRY_COMPARE_WITH_TIMEOUT(
        call(R"({"do":"status"})").value(QLatin1String("clients")).toArray().size(), 1,
        WaitLimitMs);
    QCOMPARE(call(R"({"do":"status"})").value(QLatin1String("received")).toObject(), received);
}

void tst_SimulatorCommands::listsTheEquipment()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1/2","ms":30,"jitter":5})"));
    QVERIFY(tell(R"({"do":"result","key":"COM1/2","result":"rejected"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    const QJsonArray list
        = call(R"({"do":"equipment"})").value(QLatin1String("equipment")).toArray();
    QCOMPARE(list.size(), 5);
    QCOMPARE(list.at(1).toObject().value(QLatin1String("there")), QJsonValue(false));
    QCOMPARE(list.at(2).toObject(),
             (QJsonObject{{QStringLiteral("key"), QStringLiteral("COM1/2")},
                          {QStringLiteral("there"), true},
                          {QStringLiteral("connected"), false},
                          {QStringLiteral("latency"), 30},
                          {QStringLiteral("jitter"), 5},
                          {QStringLiteral("result"), 2}}));
}

void tst_SimulatorCommands::hasEquipmentDisappearAndAppear()
{
    QVERIFY(tell(R"({"do":"write","key":"COM1/1","hex":"2A"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{9}, WaitLimitMs);
    QVERIFY(!m_client->texts(9).constFirst().contains("COM1#*#1/"));
    QVERIFY(m_client->texts(9).constFirst().contains("COM1#*#2/"));
    m_client->send(7, readText("1", "COM1/1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QVERIFY(m_client->texts(11).constFirst().contains("commResult=3;"));
    QVERIFY(tell(R"({"do":"appear","key":"COM1/1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(9), 2, WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("COM1#*#1/2/2001/Scan board 1/1"));
    m_client->send(7, readText("2", "COM1/1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 2, WaitLimitMs);
    QVERIFY(m_client->texts(11).last().contains("data=Kg==")); // its memory stays
}

void tst_SimulatorCommands::bringsBackTheBoardsThatWentWithTheirController()
{
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/2"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{9, 9}), WaitLimitMs);
    QVERIFY(!m_client->texts(9).last().contains("COM1"));
    QVERIFY(tell(R"({"do":"appear","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{9, 9, 5, 9}), WaitLimitMs);
    QCOMPARE(m_client->texts(5), QList<QByteArray>{"COM1"});
    QVERIFY(m_client->texts(9).last().startsWith(
        "COM1/1/1001/Controller at a serial port/1,COM1#*#1/2/2001/Scan board 1/1,192."));
}

void tst_SimulatorCommands::connectsAndDisconnectsEquipment()
{
    QVERIFY(tell(R"({"do":"connect","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9}), WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("Scan board 2/1,"));
    QVERIFY(tell(R"({"do":"disconnect","key":"COM1/2"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9, 9}), WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("Scan board 1/1,"));
    QVERIFY(m_client->texts(9).last().contains("Scan board 2/0,"));
    QVERIFY(tell(R"({"do":"disconnect","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(9), 3, WaitLimitMs);
    QVERIFY(!m_client->texts(9).last().contains("/1,COM1"));
}

void tst_SimulatorCommands::refusesWhatIsNotThere_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *command, const char *error) {
        QTest::newRow(name) << QByteArray(command) << QString::fromLatin1(error);
    };
    row("disappear again", R"({"do":"disappear","key":"COM1/1"})", "COM1/1 is not there");
    row("connect", R"({"do":"connect","key":"COM1/1"})", "COM1/1 is not there");
    row("disconnect", R"({"do":"disconnect","key":"COM1/1"})", "COM1/1 is not there");
    row("appear what is there", R"({"do":"appear","key":"COM1"})", "COM1 is there already");
    row("client", R"({"do":"drop","client":77})", "there is no client 77");
    row("stall", R"({"do":"stall","client":77})", "there is no client 77");
    row("release", R"({"do":"release","client":77})", "there is no client 77");
    row("send", R"({"do":"send","hex":"00","client":77})", "there is no client 77");
    row("notify", R"({"do":"notify","id":4,"client":77})", "there is no client 77");
    row("fault", R"({"do":"clear","number":77})", "there is no fault 77");
    row("read", R"({"do":"read","key":"COM1","address":65536})", "COM1 has no such memory");
    row("write", R"({"do":"write","key":"COM1","port":2,"hex":"00"})", "COM1 has no such memory");
}

void tst_SimulatorCommands::refusesWhatIsNotThere()
{
    QFETCH(QByteArray, command);
    QFETCH(QString, error);
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    const QJsonObject answer = call(command);
    QCOMPARE(answer.value(QLatin1String("ok")), QJsonValue(false));
    QCOMPARE(errorOf(answer), error);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->ids(), (QList<int>{9, 18}));
}

void tst_SimulatorCommands::broadcastsATypedReply_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("codes");
    QTest::newRow("read data") << 11 << QByteArray("readWriteCode=0;clientPackageType=0;");
    QTest::newRow("read file") << 12 << QByteArray("readWriteCode=0;clientPackageType=1;");
    QTest::newRow("read memory") << 13 << QByteArray("readWriteCode=0;clientPackageType=2;");
    QTest::newRow("write data") << 14 << QByteArray("readWriteCode=1;clientPackageType=0;");
    QTest::newRow("write file") << 15 << QByteArray("readWriteCode=1;clientPackageType=1;");
    QTest::newRow("write memory") << 16 << QByteArray("readWriteCode=1;clientPackageType=2;");
    QTest::newRow("plain") << 18 << QByteArray("readWriteCode=-1;clientPackageType=0;");
}

void tst_SimulatorCommands::broadcastsATypedReply()
{
    QFETCH(int, type);
    QFETCH(QByteArray, codes);
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(tell(R"({"do":"broadcast","type":)" + QByteArray::number(type)
                 + R"(,"key":"COM1/1","port":1,"scanBoard":3,"address":65538,"tag":"t","result":2,)"
                   R"("hex":"48 65 6c 6C 6f"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{18}, WaitLimitMs);
    const QByteArray text = m_client->texts(18).constFirst();
    QVERIFY(text.endsWith(',' + QByteArray::number(type)));
    QVERIFY2(text.contains(codes), text.constData());
    const auto fields = fieldsOf(text.left(text.lastIndexOf(',')));
    QCOMPARE(fields.value("serverConnectionKey"), QByteArray("COM1%2F1"));
    QCOMPARE(fields.value("portAddr"), QByteArray("1"));
    QCOMPARE(fields.value("scanBoardAddr"), QByteArray("3"));
    QCOMPARE(fields.value("highAddr"), QByteArray("1"));
    QCOMPARE(fields.value("lowAddr"), QByteArray("2"));
    QCOMPARE(fields.value("tag"), QByteArray("t"));
    QCOMPARE(fields.value("commResult"), QByteArray("2"));
    QCOMPARE(fields.value("data"), QByteArray("Hello").toBase64());
    QVERIFY(isServed(&unregistered));
    QCOMPARE(unregistered.ids(), QList<int>{18}); // only the answer to what it asked for
}

void tst_SimulatorCommands::sendsAHeartbeat()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    QVERIFY(tell(R"({"do":"heartbeat"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(4), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(unregistered.count(4), 1, WaitLimitMs);
}

void tst_SimulatorCommands::notifiesRegisteredClients()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    QVERIFY(tell(R"({"do":"notify","id":200,"text":"\u00e4"})"));
    QVERIFY(tell(R"({"do":"notify","id":22,"client":2})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->texts(200), QList<QByteArray>{"\xE4"}, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(unregistered.count(22), 1, WaitLimitMs);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->count(22), 0);
    QCOMPARE(unregistered.count(200), 0);
}

void tst_SimulatorCommands::sendsRawBytes()
{
    RawClient other;
    QVERIFY(other.connectToServer());
    QVERIFY(isServed(&other));
    const int before = other.receivedBytes();
    m_client->clear();
    QVERIFY(tell(R"({"do":"send","hex":"01 02 fF"})"));
    QVERIFY(tell(R"({"do":"send","hex":"00","client":2})"));
    QTRY_COMPARE_WITH_TIMEOUT(other.received().mid(before), QByteArray("\x01\x02\xFF\0", 4),
                              WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->received(), QByteArray("\x01\x02\xFF"), WaitLimitMs);
}

void tst_SimulatorCommands::setsALatency()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1","ms":300})"));
    QElapsedTimer timer;
    timer.start();
    m_client->send(7, readText("1", "COM1", 0, 1));
    m_client->send(7, readText("2", "COM1", 0, 1));
    m_client->send(7, readText("3", "COM1/1", 0, 1));
    // Other equipment does not wait for it.
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 3, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 300);
    QVERIFY(m_client->texts(11).at(0).startsWith("serialNum=3;"));
    QVERIFY(m_client->texts(11).at(1).startsWith("serialNum=1;"));
    QVERIFY(m_client->texts(11).at(2).startsWith("serialNum=2;"));
}

void tst_SimulatorCommands::setsAJitterOnTopOfTheLatency()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1","ms":50,"jitter":40})"));
    QElapsedTimer timer;
    timer.start();
    for (int serial = 1; serial <= 30; ++serial)
        m_client->send(7, readText(QByteArray::number(serial), "COM1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 30, WaitLimitMs);
    // The seed is fixed, and the largest of these jitters is far over 10 ms.
    QVERIFY(timer.elapsed() >= 60);
    const QList<QByteArray> replies = m_client->texts(11);
    for (int i = 0; i < replies.size(); ++i) // still in order
        QVERIFY(replies.at(i).startsWith("serialNum=" + QByteArray::number(i + 1) + ';'));
}

void tst_SimulatorCommands::answersWithAResult_data()
{
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<QByteArray>("answered");
    QTest::newRow("rejected") << QByteArray(R"("rejected")") << QByteArray("2");
    QTest::newRow("time-out") << QByteArray(R"("timedOut")") << QByteArray("1");
    QTest::newRow("unknown to the library") << QByteArray("-77") << QByteArray("-77");
}

void tst_SimulatorCommands::answersWithAResult()
{
    QFETCH(QByteArray, result);
    QFETCH(QByteArray, answered);
    const QByteArray command = R"({"do":"result","key":"COM1","result":)" + result;
    QVERIFY(tell(command + R"(,"count":2})"));
    QCOMPARE(resultOf(1), answered);
    m_client->send(10, writeText("2", "COM1", 0, "x"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(14), 1, WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(14).constFirst()).value("commResult"), answered);
    QCOMPARE(resultOf(3), QByteArray("0"));
    QVERIFY(m_client->texts(11).last().contains("data=AA==")); // nothing was written
    QVERIFY(tell(command + '}'));
    for (int serial = 4; serial <= 9; ++serial)
        QCOMPARE(resultOf(serial), answered);
    QVERIFY(tell(R"({"do":"result","key":"COM1","result":"success"})"));
    QCOMPARE(resultOf(10), QByteArray("0"));
}

void tst_SimulatorCommands::readsAndWritesMemory()
{
    QVERIFY(tell(R"({"do":"write","key":"COM1","port":1,"scanBoard":2,"address":9,"hex":"0aFF"})"));
    QCOMPARE(call(R"({"do":"read","key":"COM1","port":1,"scanBoard":2,"address":8,"length":4})")
                 .value(QLatin1String("hex"))
                 .toString(),
             QStringLiteral("000aff00"));
    m_client->send(7, readText("1", "COM1", 9, 2, {{"portAddr", "1"}, {"scanBoardAddr", "2"}}));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{11}, WaitLimitMs);
    QVERIFY(m_client->texts(11).constFirst().contains("data=Cv8="));
}

void tst_SimulatorCommands::dropsAClient()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(tell(R"({"do":"drop","client":1})"));
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QVERIFY(isServed(&other));
    QCOMPARE(m_client->receivedBytes(), 0);
}

void tst_SimulatorCommands::stallsAndReleasesOneClient()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(tell(R"({"do":"stall","client":1})"));
    m_client->send(14, "identify");
    QVERIFY(isServed(&other));
    QVERIFY(isServed(&other));
    QCOMPARE(m_client->receivedBytes(), 0);
    QVERIFY(tell(R"({"do":"release","client":1})"));
    // The two of the other client, and its own.
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(18), 3, WaitLimitMs);
}

void tst_SimulatorCommands::stallsAndReleasesEveryone()
{
    QVERIFY(tell(R"({"do":"stall"})"));
    RawClient newcomer;
    QVERIFY(newcomer.connectToServer());
    newcomer.send(0);
    m_client->send(14, "identify");
    QTRY_COMPARE_WITH_TIMEOUT(
        call(R"({"do":"status"})").value(QLatin1String("clients")).toArray().size(), 2,
        WaitLimitMs);
    QCOMPARE(call(R"({"do":"status"})").value(QLatin1String("received")).toObject(),
             (QJsonObject{{QStringLiteral("0"), 1}})); // nothing is read
    QVERIFY(tell(R"({"do":"heartbeat"})")); // waits with the others
    QCOMPARE(m_client->receivedBytes(), 0);
    QCOMPARE(newcomer.receivedBytes(), 0);
    QVERIFY(tell(R"({"do":"release"})"));
    QTRY_COMPARE_WITH_TIMEOUT(newcomer.count(0), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(18), 1, WaitLimitMs);
    QCOMPARE(m_client->count(4), 1);
    RawClient later;
    QVERIFY(later.registerAtServer());
}

void tst_SimulatorCommands::answersRegistrationsFromThenOn()
{
    QVERIFY(tell(R"({"do":"register","answer":"error"})"));
    m_client->send(0);
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{3, 3}), WaitLimitMs);
    QVERIFY(tell(R"({"do":"register","answer":"accept"})"));
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{3, 3, 0}), WaitLimitMs);
}

void tst_SimulatorCommands::exitsWithAGoodbye()
{
    QVERIFY(tell(R"({"do":"exit"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{1}, WaitLimitMs);
    QVERIFY(m_server->process.waitForEnd());
    QVERIFY(!m_server->process.hasCrashed());
    QCOMPARE(m_server->process.exitCode(), 0);
}

void tst_SimulatorCommands::exitsWithoutAGoodbye()
{
    QVERIFY(tell(R"({"do":"exit","goodbye":false,"code":7})"));
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QCOMPARE(m_client->receivedBytes(), 0);
    QVERIFY(m_server->process.waitForEnd());
    QCOMPARE(m_server->process.exitCode(), 7);
}

KSPROXY_TEST_MAIN(tst_SimulatorCommands)
#include "tst_SimulatorCommands.moc"
