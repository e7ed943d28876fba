#include "LocalPeer.h"
#include "LogCapture.h"
#include "MsgSocketClient.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QDir>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
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

class tst_MsgSocketClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsMetaObjectInOrder();
    void connectsAndSaysSo();
    void saysWhyItCannotConnect();
    void connectsAfterAFailedAttempt();
    void givesUpAfterHalfASecond();
    void takesAnOpenSocketAsConnected();
    void doesNothingWithoutASocket();
    void sendsFrames_data();
    void sendsFrames();
    void sendsNothingWhileNotConnected();
    void failsToSendOnceTheServerHasGone();
    void disconnectsOnlyWhatIsOpen();
    void closesTheConnectionWhenDestroyed();
};

void tst_MsgSocketClient::hasItsMetaObjectInOrder()
{
    const QMetaObject &meta = MsgSocketClient::staticMetaObject;
    QCOMPARE(meta.className(), "MsgSocketClient");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
             QByteArray("receivedInfos(QByteArray)"));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodSignature(), QByteArray("readyRead()"));
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodType(), QMetaMethod::Slot);
}

void tst_MsgSocketClient::connectsAndSaysSo()
{
    LocalPeer peer;
    MsgSocketClient client;
    const LogCapture log;
    QVERIFY(client.connectServer());
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("connect server ok")), 1);
    QCOMPARE(log.lines().size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
}

void tst_MsgSocketClient::saysWhyItCannotConnect()
{
    MsgSocketClient client;
    const LogCapture log;
    QVERIFY(!client.connectServer());
    const QString reason = TestAccess::socket(client)->errorString();
    QVERIFY(!reason.isEmpty());
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("connect server error! \"%1\"").arg(reason)), 1);
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(!TestAccess::socket(client)->isOpen());
}

void tst_MsgSocketClient::connectsAfterAFailedAttempt()
{
    MsgSocketClient client;
    QVERIFY(!client.connectServer());
    LocalPeer peer;
    QVERIFY(client.connectServer());
}

void tst_MsgSocketClient::givesUpAfterHalfASecond()
{
    MsgSocketClient client;
    {
        const FullListener listener;
        QVERIFY(listener.isFull());
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!client.connectServer());
        QVERIFY(timer.elapsed() >= 450);
        QCOMPARE(TestAccess::socket(client)->state(), QLocalSocket::UnconnectedState);
        // A second attempt needs no more descriptors than the first.
        const int descriptors = openDescriptors();
        QVERIFY(!client.connectServer());
        QCOMPARE(openDescriptors(), descriptors);
    }
    LocalPeer peer;
    QVERIFY(client.connectServer());
}

void tst_MsgSocketClient::takesAnOpenSocketAsConnected()
{
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    const LogCapture log;
    QVERIFY(client.connectServer());
    peer.close();
    QTRY_COMPARE_WITH_TIMEOUT(TestAccess::socket(client)->state(), QLocalSocket::UnconnectedState,
                              WaitLimitMs);
    QVERIFY(client.connectServer());
    QVERIFY(log.lines().isEmpty());
}

void tst_MsgSocketClient::doesNothingWithoutASocket()
{
    MsgSocketClient client;
    QLocalSocket *const socket = std::exchange(TestAccess::socket(client), nullptr);
    QVERIFY(!client.connectServer());
    QVERIFY(!client.disconnectFromServer());
    QVERIFY(!client.SendData("x"));
    client.readyRead();
    TestAccess::socket(client) = socket;
}

void tst_MsgSocketClient::sendsFrames_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("prefix");
    QTest::newRow("nothing") << QByteArray() << QByteArray(4, '\0');
    QTest::newRow("one byte") << QByteArray("x") << QByteArray("\1\0\0\0", 4);
    QTest::newRow("300 bytes") << QByteArray(300, 'y') << QByteArray("\x2C\1\0\0", 4);
    QTest::newRow("66051 bytes") << QByteArray(66051, '\xFF') << QByteArray("\3\2\1\0", 4);
}

void tst_MsgSocketClient::sendsFrames()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, prefix);
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    const LogCapture log;
    QVERIFY(client.SendData(data));
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), prefix + data, WaitLimitMs);
    QVERIFY(log.lines().isEmpty());
}

void tst_MsgSocketClient::sendsNothingWhileNotConnected()
{
    LocalPeer peer;
    MsgSocketClient client;
    const LogCapture log;
    QVERIFY(!client.SendData("lost"));
    QVERIFY(log.lines().isEmpty());
    QVERIFY(client.connectServer());
    QVERIFY(client.SendData("kept"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), WireBytes::frame("kept"), WaitLimitMs);
}

void tst_MsgSocketClient::failsToSendOnceTheServerHasGone()
{
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.close();
    QTRY_VERIFY_WITH_TIMEOUT(!client.SendData("x"), WaitLimitMs);
}

void tst_MsgSocketClient::disconnectsOnlyWhatIsOpen()
{
    LocalPeer peer;
    MsgSocketClient client;
    QVERIFY(!client.disconnectFromServer());
    QVERIFY(client.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    QVERIFY(client.disconnectFromServer());
    QVERIFY(!client.disconnectFromServer());
    QVERIFY(!client.SendData("x"));
    QTRY_VERIFY_WITH_TIMEOUT(!peer.isConnected(), WaitLimitMs);
}

void tst_MsgSocketClient::closesTheConnectionWhenDestroyed()
{
    LocalPeer peer;
    auto *const client = new MsgSocketClient;
    QVERIFY(client->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    delete client;
    QTRY_VERIFY_WITH_TIMEOUT(!peer.isConnected(), WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_MsgSocketClient)
#include "tst_MsgSocketClient.moc"
