#include "RawClient.h"
#include "RequestText.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QTest>

/// What the real server program does with read and write requests.
class tst_DeviceServerRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void readsBackWhatWasWritten_data();
    void readsBackWhatWasWritten();
    void readsZerosWhereNothingWasWritten();
    void keepsPortsAndScanBoardsApart();
    void refusesWhatIsNotThere_data();
    void refusesWhatIsNotThere();
    void copiesTheHeaderIntoTheReply();
    void tellsTheOthersOfAWrite();
    void dropsAndAnswersCancelledRequests();
    void cancelsForOneKeyOnly();
    void keepsTheOrderOfDelayedRequests();

private:
    void start(const QStringList &arguments = QStringList());
    QMap<QByteArray, QByteArray> answerTo(int id, const QByteArray &text, int replyType);

    QScopedPointer<ServerProcess> m_server;
    QScopedPointer<RawClient> m_client;
};

void tst_DeviceServerRequests::init()
{
    m_server.reset(new ServerProcess);
    m_client.reset(new RawClient);
}

void tst_DeviceServerRequests::cleanup()
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

void tst_DeviceServerRequests::start(const QStringList &arguments)
{
    QVERIFY2(m_server->start(arguments), qPrintable(m_server->errors()));
    QVERIFY(m_client->connectToServer());
}

QMap<QByteArray, QByteArray> tst_DeviceServerRequests::answerTo(int id, const QByteArray &text,
                                                                int replyType)
{
    const int before = m_client->count(replyType);
    m_client->send(id, text);
    if (!QTest::qWaitFor([&] { return m_client->count(replyType) > before; }, WaitLimitMs))
        return {};
    return fieldsOf(m_client->texts(replyType).last());
}

void tst_DeviceServerRequests::readsBackWhatWasWritten_data()
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

void tst_DeviceServerRequests::readsBackWhatWasWritten()
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

void tst_DeviceServerRequests::readsZerosWhereNothingWasWritten()
{
    start();
    const auto read = answerTo(7, readText("1", "COM1", 9, 3), 11);
    QCOMPARE(QByteArray::fromBase64(read.value("data")), QByteArray(3, '\0'));
    QCOMPARE(read.value("dataLength"), QByteArray("3"));
}

void tst_DeviceServerRequests::keepsPortsAndScanBoardsApart()
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

void tst_DeviceServerRequests::refusesWhatIsNotThere_data()
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

void tst_DeviceServerRequests::refusesWhatIsNotThere()
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

void tst_DeviceServerRequests::copiesTheHeaderIntoTheReply()
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

void tst_DeviceServerRequests::tellsTheOthersOfAWrite()
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

void tst_DeviceServerRequests::dropsAndAnswersCancelledRequests()
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

void tst_DeviceServerRequests::cancelsForOneKeyOnly()
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

void tst_DeviceServerRequests::keepsTheOrderOfDelayedRequests()
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

KSPROXY_TEST_MAIN(tst_DeviceServerRequests)
#include "tst_DeviceServerRequests.moc"
