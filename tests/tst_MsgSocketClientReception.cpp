#include "LocalPeer.h"
#include "MsgSocketClient.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QDir>
#include <QEventLoop>
#include <QLocalSocket>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QList<QByteArray> payloadsOf(const QSignalSpy &spy)
{
    QList<QByteArray> payloads;
    for (const QList<QVariant> &arguments : spy)
        payloads.append(arguments.first().toByteArray());
    return payloads;
}

/// A socket file under the server's name that accepts nobody once its queue is full.
class FullListener
{
public:
    FullListener()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray path = (testFolder() + QLatin1String("/tarnSver")).toLocal8Bit();
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        unlink(address.sun_path);
        m_listener = socket(AF_UNIX, SOCK_STREAM, 0);
        m_filler = socket(AF_UNIX, SOCK_STREAM, 0);
        const auto *const generic = reinterpret_cast<const sockaddr *>(&address);
        m_isFull = bind(m_listener, generic, sizeof address) == 0 && listen(m_listener, 0) == 0
            && connect(m_filler, generic, sizeof address) == 0;
    }
    ~FullListener()
    {
        close(m_filler);
        close(m_listener);
        unlink((testFolder() + QLatin1String("/tarnSver")).toLocal8Bit().constData());
    }
    bool isFull() const
    {
        return m_isFull;
    }

private:
    Q_DISABLE_COPY_MOVE(FullListener)

    int m_listener = -1;
    int m_filler = -1;
    bool m_isFull = false;
};

} // namespace

/// What the socket client makes of the bytes that arrive, and what its receivers may do to it.
class tst_MsgSocketClientReception : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emitsEachFrameOnceInOrder();
    void emitsAFrameSplitAnywhere();
    void emitsFramesFromRandomPieces();
    void emitsAnEmptyFrame();
    void emitsNothingMoreAfterAnUnsatisfiableLength();
    void goesOnAfterAWrappedLength();
    void ignoresADirectCallOfReadyRead();
    void keepsAnIncompleteFrameAcrossAReconnect();
    void readsWhatArrivesWhileAReceiverRunsAnEventLoop();
    void survivesAReceiverThatDisconnects();
    void emitsAllThatHadArrivedToAReceiverThatDisconnects();
    void survivesAReceiverThatDeletesTheClient();
    void keepsNothingOnceAbandoned();
};

void tst_MsgSocketClientReception::emitsEachFrameOnceInOrder()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(spy.isValid());
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("one") + WireBytes::frame("two") + WireBytes::frame("end"));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 3, WaitLimitMs);
    QCOMPARE(payloadsOf(spy), (QList<QByteArray>{"one", "two", "end"}));
}

void tst_MsgSocketClientReception::emitsAFrameSplitAnywhere()
{
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    const QByteArray frame = WireBytes::frame("payload");
    QList<QByteArray> expected;
    for (int split = 1; split < frame.size(); ++split) {
        // The marker tells that the first part has been read before the second is written.
        peer.send(WireBytes::frame("marker") + frame.left(split));
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), expected.size() + 1, WaitLimitMs);
        peer.send(frame.mid(split));
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), expected.size() + 2, WaitLimitMs);
        expected << "marker"
                 << "payload";
        QCOMPARE(payloadsOf(spy), expected);
    }
}

void tst_MsgSocketClientReception::emitsFramesFromRandomPieces()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QList<QByteArray> expected;
    QByteArray stream;
    for (int i = 0; i < 300; ++i) {
        expected.append(QByteArray(random.bounded(400), static_cast<char>(random.bounded(256))));
        stream += WireBytes::frame(expected.last());
    }
    for (int position = 0; position < stream.size();) {
        const int piece = random.bounded(1, 900);
        peer.send(stream.mid(position, piece));
        position += piece;
        QCoreApplication::processEvents();
    }
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), expected.size(), WaitLimitMs);
    QCOMPARE(payloadsOf(spy), expected);
}

void tst_MsgSocketClientReception::emitsAnEmptyFrame()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(QByteArray(4, '\0'));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, WaitLimitMs);
    QCOMPARE(payloadsOf(spy), QList<QByteArray>{QByteArray()});
}

void tst_MsgSocketClientReception::emitsNothingMoreAfterAnUnsatisfiableLength()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("before") + QByteArray("\0\0\0\x80", 4) + WireBytes::frame("after"));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, WaitLimitMs);
    // What the client still answers proves that it read on.
    QVERIFY(client.SendData("alive"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), WireBytes::frame("alive"), WaitLimitMs);
    peer.send(WireBytes::frame("later"));
    QTRY_COMPARE_WITH_TIMEOUT(TestAccess::reader(client).pendingBytes(), 4 + 9 + 9, WaitLimitMs);
    QCOMPARE(payloadsOf(spy), QList<QByteArray>{"before"});
}

void tst_MsgSocketClientReception::goesOnAfterAWrappedLength()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(QByteArray("\xFC\xFF\xFF\xFF", 4) + WireBytes::frame("a")
              + QByteArray("\xFF\xFF\xFF\xFF", 4) + WireBytes::frame("b"));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 4, WaitLimitMs);
    QCOMPARE(payloadsOf(spy), (QList<QByteArray>{"", "a", "", "b"}));
}

void tst_MsgSocketClientReception::ignoresADirectCallOfReadyRead()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("x"));
    // Blocked, the socket has the bytes but announces them to nobody.
    TestAccess::socket(client)->blockSignals(true);
    QTRY_VERIFY_WITH_TIMEOUT(TestAccess::socket(client)->bytesAvailable() > 0, WaitLimitMs);
    client.readyRead();
    QCOMPARE(spy.size(), 0);
    QCOMPARE(TestAccess::socket(client)->bytesAvailable(), qint64(5));
}

void tst_MsgSocketClientReception::keepsAnIncompleteFrameAcrossAReconnect()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("joined").left(6));
    QTRY_COMPARE_WITH_TIMEOUT(TestAccess::reader(client).pendingBytes(), 6, WaitLimitMs);
    QVERIFY(client.disconnectFromServer());
    QVERIFY(client.connectServer());
    QTRY_COMPARE_WITH_TIMEOUT(peer.connectionCount(), 2, WaitLimitMs);
    peer.send(WireBytes::frame("joined").mid(6));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, WaitLimitMs);
    QCOMPARE(payloadsOf(spy), QList<QByteArray>{"joined"});
}

void tst_MsgSocketClientReception::readsWhatArrivesWhileAReceiverRunsAnEventLoop()
{
    LocalPeer peer;
    MsgSocketClient client;
    QList<QByteArray> received;
    connect(&client, &MsgSocketClient::receivedInfos, this, [&](const QByteArray &payload) {
        received.append(payload);
        if (payload != "first")
            return;
        peer.send(WireBytes::frame("second"));
        QEventLoop loop;
        QTimer timer;
        connect(&timer, &QTimer::timeout, &loop, [&] {
            if (TestAccess::socket(client)->bytesAvailable() > 0)
                loop.quit();
        });
        timer.start(1);
        loop.exec();
    });
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("first"));
    QTRY_COMPARE_WITH_TIMEOUT(received, (QList<QByteArray>{"first", "second"}), WaitLimitMs);
}

void tst_MsgSocketClientReception::survivesAReceiverThatDisconnects()
{
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    connect(&client, &MsgSocketClient::receivedInfos, this, [&] { client.disconnectFromServer(); });
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("one") + WireBytes::frame("two"));
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 2, WaitLimitMs);
    QVERIFY(client.connectServer());
}

// More than one read takes, so some of it is still with the socket when the receiver disconnects.
void tst_MsgSocketClientReception::emitsAllThatHadArrivedToAReceiverThatDisconnects()
{
    const QByteArray longBody(150000, 'x');
    LocalPeer peer;
    MsgSocketClient client;
    QSignalSpy spy(&client, &MsgSocketClient::receivedInfos);
    connect(&client, &MsgSocketClient::receivedInfos, this, [&] { client.disconnectFromServer(); });
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    TestAccess::socket(client)->blockSignals(true);
    peer.send(WireBytes::frame("first") + WireBytes::frame(longBody) + WireBytes::frame("last")
              + WireBytes::frame("joined").left(6));
    constexpr qint64 Arrived = 9 + 150004 + 8 + 6;
    QTRY_COMPARE_WITH_TIMEOUT(TestAccess::socket(client)->bytesAvailable(), Arrived, WaitLimitMs);
    TestAccess::socket(client)->blockSignals(false);
    Q_EMIT TestAccess::socket(client)->readyRead();
    QCOMPARE(payloadsOf(spy), (QList<QByteArray>{"first", longBody, "last"}));
    QCOMPARE(TestAccess::reader(client).pendingBytes(), 6);
}

void tst_MsgSocketClientReception::survivesAReceiverThatDeletesTheClient()
{
    LocalPeer peer;
    auto *const client = new MsgSocketClient;
    const QPointer<MsgSocketClient> guard(client);
    int received = 0;
    connect(client, &MsgSocketClient::receivedInfos, this, [&] {
        ++received;
        delete client;
    });
    QVERIFY(client->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::frame("one") + WireBytes::frame("two"));
    QTRY_VERIFY_WITH_TIMEOUT(!guard, WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!peer.isConnected(), WaitLimitMs);
    QCOMPARE(received, 1);
}

void tst_MsgSocketClientReception::keepsNothingOnceAbandoned()
{
    const QByteArray neverComplete = WireBytes::lengthField(0x80000000) + "and more";
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    QLocalSocket *const socket = TestAccess::socket(client);
    peer.send(neverComplete);
    QTRY_COMPARE_WITH_TIMEOUT(TestAccess::reader(client).pendingBytes(), neverComplete.size(),
                              WaitLimitMs);
    client.abandon();
    QVERIFY(TestAccess::reader(client).isEmpty());
    const QSignalSpy arrivals(socket, &QIODevice::readyRead);
    peer.send(neverComplete);
    QTRY_COMPARE_WITH_TIMEOUT(arrivals.size(), 1, WaitLimitMs);
    QVERIFY(TestAccess::reader(client).isEmpty());
    QCOMPARE(socket->bytesAvailable(), 0);
    // The connection itself stays.
    QVERIFY(client.SendData("alive"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"alive"}, WaitLimitMs);
    QVERIFY(socket->isOpen());
    peer.disconnectPeer();
    QTRY_VERIFY_WITH_TIMEOUT(!socket->isOpen(), WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_MsgSocketClientReception)
#include "tst_MsgSocketClientReception.moc"
