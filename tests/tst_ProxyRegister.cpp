#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QMutexLocker>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>

namespace {

/// Connects \a proxy and has \a message wait in its socket, so that whoever serves events next
/// receives it.
bool sendAhead(const TestProxy &proxy, LocalPeer *peer, const QByteArray &message)
{
    return proxy.connectServer()
        && QTest::qWaitFor([peer] { return peer->isConnected(); }, WaitLimitMs)
        && (peer->send(message), true);
}

} // namespace

class tst_ProxyRegister : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failsBeforeThereIsAClient();
    void failsWithoutAServer();
    void dropsAnEarlierRegistrationWhenItCannotConnect();
    void queuesTheRegistrationOnceConnected();
    void opensTheGateBeforeItQueuesTheRegistration();
    void doesNotWaitForTheAnswer();
    void registersOverTheSocket();
    void handsOutTheVersion_data();
    void handsOutTheVersion();
    void ignoresItsOtherArguments();
    void acceptsANullVersion();
    void waitsInVainAfterARefusal_data();
    void waitsInVainAfterARefusal();
    void succeedsWhenTheServerConfirmsAfterARefusal();
    void registersAgainOnTheOpenConnection();
    void trustsAnOpenConnection();
    void unregistersLocally();
    void hasNothingToUnregister();
    void cannotUnregisterWithoutAClient();
};

void tst_ProxyRegister::failsBeforeThereIsAClient()
{
    LocalPeer peer;
    const TestProxy proxy;
    QString version = QStringLiteral("untouched");
    const LogCapture log;
    QVERIFY(!proxy->Register(QString(), &version, QString()));
    QVERIFY(log.lines().isEmpty());
    QVERIFY(!proxy->isRegisted());
    QVERIFY(!proxy->isConnectedServer());
    QCOMPARE(version, QStringLiteral("untouched"));
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
}

void tst_ProxyRegister::failsWithoutAServer()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    QString version = QStringLiteral("untouched");
    TestAccess::serverVersion(*proxy) = QStringLiteral("1.2");
    const LogCapture log;
    QVERIFY(!proxy->Register(QString(), &version, QString()));
    QVERIFY(!proxy->isRegisted());
    QVERIFY(!proxy->isConnectedServer());
    QCOMPARE(version, QStringLiteral("untouched"));
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    // The one line is the socket client's.
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().first().level, QtDebugMsg);
    QVERIFY(log.lines().first().text.startsWith(QLatin1String("connect server error! \"")));
}

void tst_ProxyRegister::dropsAnEarlierRegistrationWhenItCannotConnect()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    proxy->setRegisted(true);
    TestAccess::isConnected(*proxy) = true;
    QVERIFY(!proxy->Register(QString(), nullptr, QString()));
    QVERIFY(!proxy->isRegisted());
    QVERIFY(!proxy->isConnectedServer());
}

void tst_ProxyRegister::queuesTheRegistrationOnceConnected()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    const LogCapture log;
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QVERIFY(proxy->isRegisted());
    QVERIFY(proxy->isConnectedServer());
    const QList<Outgoing> queue = proxy.sendQueue();
    QCOMPARE(queue.size(), 1);
    QCOMPARE(queue.first(), (Outgoing{0, QString(), QByteArray(), nullptr}));
    QVERIFY(!queue.first().text.isNull());
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("connect server ok")), 1);
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProxyRegister::opensTheGateBeforeItQueuesTheRegistration()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    // Register waits for the queue, which this thread gives up only when it has seen the flag.
    QSemaphore locked;
    bool wasSeen = false;
    const std::unique_ptr<QThread> observer(QThread::create([&] {
        const QMutexLocker locker(&TestAccess::sendMutex(*proxy));
        locked.release();
        QElapsedTimer timer;
        timer.start();
        while (!wasSeen && timer.elapsed() < WaitLimitMs) {
            wasSeen = proxy->isRegisted() && TestAccess::sendList(*proxy).isEmpty();
            QThread::yieldCurrentThread();
        }
    }));
    observer->start();
    locked.acquire();
    const bool registered = proxy->Register(QString(), nullptr, QString());
    QVERIFY(observer->wait(WaitLimitMs));
    QVERIFY(registered);
    QVERIFY(wasSeen);
}

void tst_ProxyRegister::doesNotWaitForTheAnswer()
{
    LocalPeer peer; // answers nothing
    const TestProxy proxy;
    proxy->creatMsgClient();
    // Told once per round of events.
    QSignalSpy passes(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QVERIFY(timer.elapsed() >= 50);
    QCOMPARE(passes.size(), 1);
}

void tst_ProxyRegister::registersOverTheSocket()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), WireBytes::message(0), WaitLimitMs);
    peer.send(WireBytes::message(0, "k1/1/2/A/5,3.4"));
    QTRY_COMPARE_WITH_TIMEOUT(proxy->ServerVer(), QStringLiteral("3.4"), WaitLimitMs);
    QVERIFY(proxy->isRegisted());
    QCOMPARE(proxy->equipmentTable().keys(), QStringList{QStringLiteral("k1")});
}

void tst_ProxyRegister::handsOutTheVersion_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("expected");
    QTest::newRow("none received so far") << QByteArray() << QStringLiteral("before");
    QTest::newRow("one that arrives during the wait")
        << WireBytes::message(0, "k/1/2/A/5,7.8") << QStringLiteral("7.8");
    QTest::newRow("a confirmation without a version")
        << WireBytes::message(0, "k/1/2/A/5") << QStringLiteral("");
}

void tst_ProxyRegister::handsOutTheVersion()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, expected);
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(sendAhead(proxy, &peer, answer));
    TestAccess::serverVersion(*proxy) = QStringLiteral("before");
    QString version = QStringLiteral("untouched");
    QVERIFY(proxy->Register(QString(), &version, QString()));
    QCOMPARE(version, expected);
    QCOMPARE(proxy->ServerVer(), expected);
}

void tst_ProxyRegister::ignoresItsOtherArguments()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    QVERIFY(proxy->Register(QStringLiteral("a name"), nullptr, QStringLiteral("a version")));
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{0, QString(), QByteArray(), nullptr}}));
    QVERIFY(proxy->ServerVer().isEmpty());
}

void tst_ProxyRegister::acceptsANullVersion()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(sendAhead(proxy, &peer, WireBytes::message(0, ",1.0")));
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QCOMPARE(proxy->ServerVer(), QStringLiteral("1.0"));
}

void tst_ProxyRegister::waitsInVainAfterARefusal_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("errors");
    QTest::newRow("rejected") << 2 << 0;
    QTest::newRow("an error") << 3 << 1;
}

void tst_ProxyRegister::waitsInVainAfterARefusal()
{
    QFETCH(int, id);
    QFETCH(int, errors);
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(sendAhead(proxy, &peer, WireBytes::message(id)));
    TestAccess::serverVersion(*proxy) = QStringLiteral("1.2");
    QSignalSpy spy(&*proxy, &IKVTServerBaseProxy::NotifyRegisterErrEvent);
    QVERIFY(spy.isValid());
    QString version = QStringLiteral("untouched");
    QSignalSpy passes(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!proxy->Register(QString(), &version, QString()));
    QVERIFY(timer.elapsed() >= 100 * 50);
    QCOMPARE(passes.size(), 100);
    QVERIFY(!proxy->isRegisted());
    QVERIFY(proxy->isConnectedServer());
    QCOMPARE(version, QStringLiteral(""));
    QCOMPARE(spy.size(), errors);
}

void tst_ProxyRegister::succeedsWhenTheServerConfirmsAfterARefusal()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(sendAhead(proxy, &peer, WireBytes::message(2)));
    bool wasRefused = false;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (wasRefused || proxy->isRegisted())
            return;
        wasRefused = true;
        peer.send(WireBytes::message(0, "k/1/2/A/5,2.0"));
    });
    timer.start(0);
    QString version;
    QVERIFY(proxy->Register(QString(), &version, QString()));
    QVERIFY(wasRefused);
    QCOMPARE(version, QStringLiteral("2.0"));
    QCOMPARE(proxy->equipmentTable().size(), 1);
}

void tst_ProxyRegister::registersAgainOnTheOpenConnection()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QVERIFY(proxy->UnRegister());
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), WireBytes::message(0) + WireBytes::message(0),
                              WaitLimitMs);
    QCOMPARE(peer.connectionCount(), 1);
}

void tst_ProxyRegister::trustsAnOpenConnection()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.close();
    QTRY_VERIFY_WITH_TIMEOUT(!TestAccess::client(*proxy)->SendData("x"), WaitLimitMs);
    // Known and kept: a server that went away is not noticed here.
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QVERIFY(proxy->isConnectedServer());
}

void tst_ProxyRegister::unregistersLocally()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    proxy->ReceivedMessage(TarnEnum::RegisterSuccess, QStringLiteral("k/1/2/A/5,1.2"),
                           QByteArray());
    const LogCapture log;
    QVERIFY(proxy->UnRegister());
    QVERIFY(log.lines().isEmpty());
    QVERIFY(!proxy->isRegisted());
    QVERIFY(!proxy->isConnectedServer());
    QVERIFY(proxy->equipmentTable().isEmpty());
    QCOMPARE(proxy->ServerVer(), QStringLiteral("1.2"));
    // Nothing beyond the registration was queued, and the connection still carries messages.
    QCOMPARE(proxy.sendQueue().size(), 1);
    QVERIFY(TestAccess::client(*proxy)->SendData("marker"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"marker"}, WaitLimitMs);
}

void tst_ProxyRegister::hasNothingToUnregister()
{
    const TestProxy proxy;
    const QMap<QString, EquipmentInfo> table = {{QStringLiteral("k"), EquipmentInfo()}};
    proxy->setEquipmentTable(table);
    TestAccess::isConnected(*proxy) = true;
    QVERIFY(proxy->UnRegister());
    QVERIFY(proxy->isConnectedServer());
    QCOMPARE(proxy->equipmentTable().size(), 1);
    proxy->creatMsgClient();
    QVERIFY(proxy->UnRegister());
    QVERIFY(proxy->isConnectedServer());
    QCOMPARE(proxy->equipmentTable().size(), 1);
}

void tst_ProxyRegister::cannotUnregisterWithoutAClient()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    proxy->setEquipmentTable({{QStringLiteral("k"), EquipmentInfo()}});
    TestAccess::isConnected(*proxy) = true;
    const LogCapture log;
    QVERIFY(!proxy->UnRegister());
    QVERIFY(log.lines().isEmpty());
    QVERIFY(proxy->isRegisted());
    QVERIFY(proxy->isConnectedServer());
    QCOMPARE(proxy->equipmentTable().size(), 1);
}

KSPROXY_TEST_MAIN(tst_ProxyRegister)
#include "tst_ProxyRegister.moc"
