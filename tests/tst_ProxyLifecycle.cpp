#include "LocalPeer.h"
#include "LogCapture.h"
#include "MsgThread.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QSignalSpy>
#include <QTest>

#include <pthread.h>

namespace {

/// While it lives, no thread can be made: each would get a stack that no memory has room for.
class NoThreads
{
public:
    NoThreads()
    {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge = m_before;
        pthread_attr_setstacksize(&huge, size_t(1) << 47);
        pthread_setattr_default_np(&huge);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&m_before);
    }

private:
    Q_DISABLE_COPY_MOVE(NoThreads)

    pthread_attr_t m_before{};
};

quintptr addressOf(const void *field)
{
    return reinterpret_cast<quintptr>(field);
}

} // namespace

class tst_ProxyLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithItsDefaults();
    void keepsItsFieldsInOrder();
    void saysAtConstructionThatItIsNotInitialised();
    void makesClientAndWorkersOnce();
    void onlyLogsAtASecondInitalize();
    void keepsAClientThatIsAlreadyThere();
    void isNotInitialisedWithoutWorkers();
    void pacesBothLoops();
    void givesTheSameErrorCodeInEveryState();
    void hasOperationsThatDoNothing();
    void storesThePackageType();
};

void tst_ProxyLifecycle::startsWithItsDefaults()
{
    const TestProxy proxy;
    QVERIFY(!proxy->isRegisted());
    QVERIFY(proxy->equipmentTable().isEmpty());
    QVERIFY(!proxy->isConnectedServer());
    QVERIFY(!TestAccess::notifyStop(*proxy));
    QVERIFY(!TestAccess::sendStop(*proxy));
    QCOMPARE(TestAccess::idleCount(*proxy), 0);
    QVERIFY(TestAccess::notifyThread(*proxy) == nullptr);
    QVERIFY(TestAccess::sendThread(*proxy) == nullptr);
    QVERIFY(TestAccess::client(*proxy) == nullptr);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QVERIFY(proxy->ServerVer().isEmpty());
    QVERIFY(!proxy->ServerVer().isNull());
    QCOMPARE(proxy->packageType(), TarnEnum::TextPackage);
    QVERIFY(TestAccess::reserved(*proxy));
    QVERIFY(!TestAccess::isInitialised(*proxy));
    QVERIFY(!TestAccess::requestMutex(*proxy).isRecursive());
    QVERIFY(!TestAccess::notifyMutex(*proxy).isRecursive());
    QVERIFY(!TestAccess::sendMutex(*proxy).isRecursive());
}

void tst_ProxyLifecycle::keepsItsFieldsInOrder()
{
    const TestProxy test;
    KVTServerMessageOldProxy &proxy = *test;
    const QList<quintptr> addresses = {
        addressOf(&TestAccess::isConnected(proxy)),
        addressOf(&TestAccess::notifyStop(proxy)),
        addressOf(&TestAccess::sendStop(proxy)),
        addressOf(&TestAccess::idleCount(proxy)),
        addressOf(&TestAccess::notifyCondition(proxy)),
        addressOf(&TestAccess::notifyThread(proxy)),
        addressOf(&TestAccess::sendCondition(proxy)),
        addressOf(&TestAccess::sendThread(proxy)),
        addressOf(&TestAccess::client(proxy)),
        addressOf(&TestAccess::requestMutex(proxy)),
        addressOf(&TestAccess::requestList(proxy)),
        addressOf(&TestAccess::notifyMutex(proxy)),
        addressOf(&TestAccess::notifyList(proxy)),
        addressOf(&TestAccess::sendMutex(proxy)),
        addressOf(&TestAccess::sendList(proxy)),
        addressOf(&TestAccess::serverVersion(proxy)),
        addressOf(&TestAccess::packageType(proxy)),
        addressOf(&TestAccess::reserved(proxy)),
        addressOf(&TestAccess::isInitialised(proxy)),
    };
    QVERIFY(addresses.first() >= addressOf(&proxy) + sizeof(IKVTServerBaseProxy) - sizeof(void *));
    QVERIFY(std::is_sorted(addresses.begin(), addresses.end()));
}

void tst_ProxyLifecycle::saysAtConstructionThatItIsNotInitialised()
{
    const LogCapture log;
    const KVTServerMessageOldProxy proxy;
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("KVTServerMessageOldProxy m_binit false")), 1);
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProxyLifecycle::makesClientAndWorkersOnce()
{
    const TestProxy proxy;
    TestAccess::notifyStop(*proxy) = true;
    TestAccess::sendStop(*proxy) = true;
    TestAccess::idleCount(*proxy) = 7;
    const LogCapture log;
    proxy->Initalize();
    QVERIFY(log.lines().isEmpty());
    QVERIFY(TestAccess::isInitialised(*proxy));
    QVERIFY(!TestAccess::notifyStop(*proxy));
    QVERIFY(!TestAccess::sendStop(*proxy));
    QCOMPARE(TestAccess::idleCount(*proxy), 0);
    QVERIFY(TestAccess::client(*proxy) != nullptr);
    QVERIFY(TestAccess::client(*proxy)->parent() == nullptr);
    MsgThread *const notifyThread = TestAccess::notifyThread(*proxy);
    MsgThread *const sendThread = TestAccess::sendThread(*proxy);
    QVERIFY(notifyThread != nullptr && sendThread != nullptr && notifyThread != sendThread);
    QVERIFY(notifyThread->isRunning());
    QVERIFY(sendThread->isRunning());
    QCOMPARE(notifyThread->interval(), 10);
    QCOMPARE(sendThread->interval(), 10);
    QVERIFY(!proxy->isConnectedServer());
    QVERIFY(!proxy->isRegisted());
}

void tst_ProxyLifecycle::onlyLogsAtASecondInitalize()
{
    const TestProxy proxy;
    proxy->Initalize();
    MsgThread *const notifyThread = TestAccess::notifyThread(*proxy);
    MsgThread *const sendThread = TestAccess::sendThread(*proxy);
    MsgSocketClient *const client = TestAccess::client(*proxy);
    TestAccess::idleCount(*proxy) = 7;
    TestAccess::sendStop(*proxy) = true;
    TestAccess::notifyStop(*proxy) = true;
    const LogCapture log;
    proxy->Initalize();
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("KVTServerMessageOldProxy::Initalize has init!")),
             1);
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(TestAccess::notifyThread(*proxy), notifyThread);
    QCOMPARE(TestAccess::sendThread(*proxy), sendThread);
    QCOMPARE(TestAccess::client(*proxy), client);
    QCOMPARE(TestAccess::idleCount(*proxy), 7);
    QVERIFY(TestAccess::sendStop(*proxy));
    QVERIFY(TestAccess::notifyStop(*proxy));
}

void tst_ProxyLifecycle::keepsAClientThatIsAlreadyThere()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    MsgSocketClient *const client = TestAccess::client(*proxy);
    proxy->creatMsgClient();
    proxy->Initalize();
    QCOMPARE(TestAccess::client(*proxy), client);
    // Connected once: a second connection would handle every message twice.
    QSignalSpy spy(&*proxy, &IKVTServerBaseProxy::EquipmentChangeEvent);
    QVERIFY(client->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    peer.send(WireBytes::message(9, "k/1/2/A/5") + WireBytes::message(0, ",marker"));
    QTRY_COMPARE_WITH_TIMEOUT(proxy->ServerVer(), QStringLiteral("marker"), WaitLimitMs);
    QCOMPARE(spy.size(), 1);
}

void tst_ProxyLifecycle::isNotInitialisedWithoutWorkers()
{
    LocalPeer peer;
    const TestProxy proxy;
    {
        const NoThreads noThreads;
        const LogCapture log;
        proxy->Initalize();
        QCOMPARE(log.count(QtCriticalMsg, QStringLiteral("out of memory")), 1);
    }
    QVERIFY(!TestAccess::isInitialised(*proxy));
    QVERIFY(!proxy->Register(QString(), nullptr, QString()));
    QVERIFY(!proxy->isConnectedServer());

    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1, WaitLimitMs);
}

void tst_ProxyLifecycle::pacesBothLoops()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QString(), QByteArray());
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\x05"}, WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(TestAccess::notifyList(*proxy).isEmpty(), WaitLimitMs);
}

void tst_ProxyLifecycle::givesTheSameErrorCodeInEveryState()
{
    LocalPeer peer;
    const TestProxy proxy;
    QCOMPARE(proxy->getErrorCode(), 4000);
    proxy->Initalize();
    QCOMPARE(proxy->getErrorCode(), 4000);
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    QCOMPARE(proxy->getErrorCode(), 4000);
    QVERIFY(proxy->UnRegister());
    QCOMPARE(proxy->getErrorCode(), 4000);
    proxy->Terminate();
    QCOMPARE(proxy->getErrorCode(), 4000);
}

void tst_ProxyLifecycle::hasOperationsThatDoNothing()
{
    const TestProxy proxy;
    TestAccess::idleCount(*proxy) = 3;
    const LogCapture log;
    proxy->initHandle();
    proxy->CheckServerRestart();
    QVERIFY(log.lines().isEmpty());
    QVERIFY(TestAccess::client(*proxy) == nullptr);
    QVERIFY(TestAccess::sendThread(*proxy) == nullptr);
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QCOMPARE(TestAccess::idleCount(*proxy), 3);
    QVERIFY(!TestAccess::isInitialised(*proxy));
}

void tst_ProxyLifecycle::storesThePackageType()
{
    const TestProxy proxy;
    const QList<TarnEnum::PackageType> types = {
        TarnEnum::ByteArrayPackage, static_cast<TarnEnum::PackageType>(77), TarnEnum::TextPackage};
    for (const TarnEnum::PackageType type : types) {
        proxy->setPackageType(type);
        QCOMPARE(proxy->packageType(), type);
    }
}

KSPROXY_TEST_MAIN(tst_ProxyLifecycle)
#include "tst_ProxyLifecycle.moc"
