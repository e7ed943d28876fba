#include "RawClient.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QRandomGenerator>
#include <QTest>

class tst_DeviceServerBadInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void dropsAMessageAndServesTheNext_data();
    void dropsAMessageAndServesTheNext();
    void passesOverAFrameThatIsTooLong();
    void takesAWrappedLengthAsAnEmptyMessage();
    void servesOthersWhileAFrameNeverEnds();
    void cutsFramesThatArriveByteByByte();
    void keepsItsLogLinesWhole();
    void survivesRandomBytes();
    void survivesDamagedRequests();

private:
    /// Whether the client still gets the answer to a good request.
    bool isServed(RawClient *client);

    QScopedPointer<ServerProcess> m_server;
    quint64 m_lastSerial = 1000000000000; // no damaged request comes near
};

void tst_DeviceServerBadInput::init()
{
    m_server.reset(new ServerProcess);
    QVERIFY2(m_server->start(), qPrintable(m_server->errors()));
}

void tst_DeviceServerBadInput::cleanup()
{
    m_server->terminate();
    QVERIFY(m_server->waitForEnd());
    QVERIFY2(!m_server->hasCrashed() && m_server->exitCode() == 0, qPrintable(m_server->errors()));
    m_server.reset();
}

bool tst_DeviceServerBadInput::isServed(RawClient *client)
{
    const QByteArray serial = QByteArray::number(++m_lastSerial);
    client->send(7, "serialNum=" + serial + ";serverConnectionKey=COM1;readLength=1");
    return QTest::qWaitFor(
        [&] {
            const QList<QByteArray> replies = client->texts(11);
            return !replies.isEmpty() && fieldsOf(replies.last()).value("serialNum") == serial;
        },
        WaitLimitMs);
}

void tst_DeviceServerBadInput::dropsAMessageAndServesTheNext_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QString>("logged");
    const QString unknown = QStringLiteral("not known");
    const QString unreadable = QStringLiteral("cannot be read");
    QTest::newRow("empty") << WireBytes::frame("") << QStringLiteral("empty message");
    QTest::newRow("identifier 1") << WireBytes::message(1) << unknown;
    QTest::newRow("identifier 13") << WireBytes::message(13, "text") << unknown;
    QTest::newRow("identifier 127") << WireBytes::message(127) << unknown;
    QTest::newRow("identifier 255") << WireBytes::message(255) << unknown;
    QTest::newRow("read without text") << WireBytes::message(7) << unreadable;
    QTest::newRow("write without text") << WireBytes::message(10) << unreadable;
    QTest::newRow("not fields") << WireBytes::message(7, "hello") << unreadable;
    QTest::newRow("bad number") << WireBytes::message(7, "serialNum=1;readLength=x") << unreadable;
    QTest::newRow("bad Base64") << WireBytes::message(10, "serialNum=1;data=%%%") << unreadable;
    QTest::newRow("a write sent as a read")
        << WireBytes::message(7, "serialNum=1;readWriteCode=1") << unreadable;
    QTest::newRow("bytes that are not text")
        << WireBytes::message(9, QByteArray("\xFF\0\x80;=", 5)) << unreadable;
    QTest::newRow("bad switch") << WireBytes::message(19, "on")
                                << QStringLiteral("neither True nor False");
}

void tst_DeviceServerBadInput::dropsAMessageAndServesTheNext()
{
    QFETCH(QByteArray, message);
    QFETCH(QString, logged);
    RawClient client;
    QVERIFY(client.connectToServer());
    const QByteArray good
        = WireBytes::message(7, "serialNum=5;serverConnectionKey=COM1;readLength=1");
    client.sendBytes(good + message + good); // in one write, with a neighbour on either side
    QTRY_COMPARE_WITH_TIMEOUT(client.ids(), (QList<int>{11, 11}), WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->errors().contains(logged), WaitLimitMs);
    QVERIFY(m_server->errors().contains(QLatin1String("client 1")));
}

void tst_DeviceServerBadInput::passesOverAFrameThatIsTooLong()
{
    RawClient client;
    QVERIFY(client.connectToServer());
    constexpr int tooLong = 16 * 1024 * 1024 + 1;
    client.sendBytes(WireBytes::message(10, QByteArray(tooLong - 1, 'x')));
    QVERIFY(isServed(&client));
    QVERIFY(m_server->errors().contains(QStringLiteral("a frame of %1 bytes").arg(tooLong)));
    QCOMPARE(client.ids(), QList<int>{11});
}

void tst_DeviceServerBadInput::takesAWrappedLengthAsAnEmptyMessage()
{
    RawClient client;
    QVERIFY(client.connectToServer());
    for (const quint32 length : {0xFFFFFFFCU, 0xFFFFFFFDU, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        client.sendBytes(WireBytes::lengthField(length));
        QVERIFY(isServed(&client));
    }
    QCOMPARE(m_server->errors().count(QLatin1String("empty message")), 4);
}

void tst_DeviceServerBadInput::servesOthersWhileAFrameNeverEnds()
{
    for (const quint32 length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFBU}) {
        RawClient hostile;
        QVERIFY(hostile.connectToServer());
        hostile.sendBytes(WireBytes::lengthField(length) + QByteArray(1000000, 'x'));
        RawClient other;
        QVERIFY(other.connectToServer());
        QVERIFY(isServed(&other));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_server->errors().contains(QStringLiteral("a frame of %1 bytes").arg(length)),
            WaitLimitMs);
    }
}

void tst_DeviceServerBadInput::cutsFramesThatArriveByteByByte()
{
    RawClient client;
    QVERIFY(client.connectToServer());
    const QByteArray stream
        = WireBytes::message(7, "serialNum=1;serverConnectionKey=COM1;readLength=1")
        + WireBytes::message(14, "identify");
    for (const char byte : stream) {
        client.sendBytes(QByteArray(1, byte));
        QVERIFY(client.socket().bytesToWrite() == 0
                || client.socket().waitForBytesWritten(WaitLimitMs));
    }
    QTRY_COMPARE_WITH_TIMEOUT(client.ids(), (QList<int>{11, 18}), WaitLimitMs);
}

void tst_DeviceServerBadInput::keepsItsLogLinesWhole()
{
    RawClient client;
    QVERIFY(client.connectToServer());
    client.send(14, QByteArray("one\nKVTServerMaster: forged\0end", 31));
    client.send(14, QByteArray(100000, 'x'));
    QVERIFY(isServed(&client));
    QVERIFY2(m_server->errors().contains(
                 QLatin1String("client 1 orders \"one\\x0aKVTServerMaster: forged\\x00end\"\n")),
             qPrintable(m_server->errors()));
    QVERIFY(m_server->errors().size() < 1000);
}

void tst_DeviceServerBadInput::survivesRandomBytes()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    for (int round = 0; round < 60; ++round) {
        RawClient client;
        QVERIFY(client.connectToServer());
        QByteArray bytes(random.bounded(1, 3000), Qt::Uninitialized);
        for (char &byte : bytes)
            byte = static_cast<char>(random.bounded(256));
        client.sendBytes(bytes);
        // The same as bodies of frames, where every one of them reaches the dispatch.
        RawClient framed;
        QVERIFY(framed.connectToServer());
        for (int position = 0; position < bytes.size(); position += 40)
            framed.sendBytes(WireBytes::frame(bytes.mid(position, random.bounded(1, 40))));
        QVERIFY(isServed(&framed));
    }
}

void tst_DeviceServerBadInput::survivesDamagedRequests()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    const QByteArray good(
        "serialNum=1;readWriteCode=1;clientPackageType=0;serverConnectionKey=COM1;"
        "portAddr=1;scanBoardAddr=1;highAddr=0;lowAddr=9;tag=%41;data=SGVsbG8=");
    RawClient client;
    QVERIFY(client.connectToServer());
    for (int round = 0; round < 3000; ++round) {
        QByteArray damaged = good;
        for (int i = random.bounded(1, 4); i > 0; --i)
            damaged[random.bounded(damaged.size())] = static_cast<char>(random.bounded(256));
        client.send(random.bounded(7, 13), damaged.left(random.bounded(damaged.size() + 1)));
    }
    QVERIFY(isServed(&client));
}

KSPROXY_TEST_MAIN(tst_DeviceServerBadInput)
#include "tst_DeviceServerBadInput.moc"
