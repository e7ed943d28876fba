#include "LocalPeer.h"
#include "LogCapture.h"
#include "MsgThread.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QPointer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

using Prepare = void (*)(const TestProxy &);
Q_DECLARE_METATYPE(Prepare)

namespace {

QMap<QString, EquipmentInfo> tableOfOne()
{
    return {{QStringLiteral("key"), EquipmentInfo()}};
}

/// A watched entry at the end of one of the proxy's queues.
NotifyStruct *appendEntry(QList<NotifyStruct *> *queue)
{
    auto *const entry = new NotifyStruct;
    queue->append(entry);
    return entry;
}

} // namespace

class tst_ProxyTerminate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void terminatesInEveryState_data();
    void terminatesInEveryState();
    void terminatesInItsOrder();
    void deletesWhatStillWaits();
    void deletesEachPendingPackageOnce();
    void leavesRegistrationAndConnectionAlone();
    void goesOnWithTheSameClientAfterTerminate();
    void terminatesWhenDestroyed();
    void neverReleasesTheClient();
    void canBeDestroyedWhileEventsArePending();
};

void tst_ProxyTerminate::terminatesInEveryState_data()
{
    QTest::addColumn<Prepare>("prepare");
    QTest::addColumn<bool>("hasClient");
    QTest::newRow("constructed") << Prepare([](const TestProxy &) {}) << false;
    QTest::newRow("with a client only")
        << Prepare([](const TestProxy &proxy) { proxy->creatMsgClient(); }) << true;
    QTest::newRow("initialised") << Prepare([](const TestProxy &proxy) { proxy->Initalize(); })
                                 << true;
    QTest::newRow("registered") << Prepare([](const TestProxy &proxy) {
        proxy->Initalize();
        QVERIFY(proxy->Register(QString(), nullptr, QString()));
    }) << true;
    QTest::newRow("terminated") << Prepare([](const TestProxy &proxy) {
        proxy->Initalize();
        proxy->Terminate();
    }) << true;
    QTest::newRow("initialised again") << Prepare([](const TestProxy &proxy) {
        proxy->Initalize();
        proxy->Terminate();
        proxy->Initalize();
    }) << true;
}

void tst_ProxyTerminate::terminatesInEveryState()
{
    QFETCH(Prepare, prepare);
    QFETCH(bool, hasClient);
    LocalPeer peer;
    const TestProxy proxy;
    prepare(proxy);
    const bool wasRegistered = proxy->isRegisted();
    const QPointer<MsgThread> notifyThread(TestAccess::notifyThread(*proxy));
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    for (int pass = 0; pass < 2; ++pass) {
        proxy->setEquipmentTable(tableOfOne());
        const LogCapture log;
        proxy->Terminate();
        QVERIFY(log.lines().isEmpty());
        QVERIFY(TestAccess::notifyStop(*proxy));
        QVERIFY(TestAccess::sendStop(*proxy));
        QVERIFY(TestAccess::notifyThread(*proxy) == nullptr);
        QVERIFY(TestAccess::sendThread(*proxy) == nullptr);
        QVERIFY(TestAccess::requestList(*proxy).isEmpty());
        QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
        QVERIFY(TestAccess::sendList(*proxy).isEmpty());
        QVERIFY(proxy->equipmentTable().isEmpty());
        QVERIFY(!TestAccess::isInitialised(*proxy));
        QCOMPARE(proxy->isRegisted(), wasRegistered);
        QCOMPARE(TestAccess::client(*proxy) != nullptr, hasClient);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!notifyThread && !sendThread, WaitLimitMs);
}

void tst_ProxyTerminate::terminatesInItsOrder()
{
    const TestProxy test;
    KVTServerMessageOldProxy &proxy = *test;
    proxy.Initalize();
    proxy.setEquipmentTable(tableOfOne());
    QStringList steps;
    // Both flags are set and both workers are gone before anything is deleted, and the state is
    // reset only after everything is.
    const auto record = [&](const char *what) {
        steps << QStringLiteral("%1: %2 %3 %4 stopped %5 workers %6 table %7 init %8")
                     .arg(QLatin1String(what))
                     .arg(TestAccess::requestList(proxy).size())
                     .arg(TestAccess::notifyList(proxy).size())
                     .arg(TestAccess::sendList(proxy).size())
                     .arg(TestAccess::notifyStop(proxy) && TestAccess::sendStop(proxy))
                     .arg(TestAccess::notifyThread(proxy) || TestAccess::sendThread(proxy))
                     .arg(proxy.equipmentTable().size())
                     .arg(TestAccess::isInitialised(proxy));
    };
    auto *const request = new PackageRequestReadData;
    TestAccess::requestList(proxy).append(request);
    connect(request, &QObject::destroyed, this, [&] { record("request"); });
    connect(appendEntry(&TestAccess::notifyList(proxy)), &QObject::destroyed, this,
            [&] { record("notify"); });
    connect(appendEntry(&TestAccess::sendList(proxy)), &QObject::destroyed, this,
            [&] { record("send"); });
    proxy.Terminate();
    QCOMPARE(steps,
             (QStringList{QStringLiteral("request: 1 1 1 stopped 1 workers 0 table 1 init 1"),
                          QStringLiteral("notify: 0 1 1 stopped 1 workers 0 table 1 init 1"),
                          QStringLiteral("send: 0 0 1 stopped 1 workers 0 table 1 init 1")}));
}

void tst_ProxyTerminate::deletesWhatStillWaits()
{
    const TestProxy proxy;
    int completions = 0;
    const auto count = [&](void *, PackageBase *) { ++completions; };
    const QPointer<PackageBase> pending(new PackageRequestReadData);
    PackageRequestWriteData queued;
    const QPointer<PackageBase> stillQueued(&queued);
    pending->setCompletionHandler(count);
    queued.setCompletionHandler(count);
    TestAccess::requestList(*proxy) << nullptr << pending << nullptr;
    TestAccess::notifyList(*proxy) << nullptr << new NotifyStruct << nullptr << new NotifyStruct;
    TestAccess::sendList(*proxy) << nullptr;
    proxy->SendPackageMessage(&queued);
    const QPointer<NotifyStruct> notifyEntry(TestAccess::notifyList(*proxy).last());
    const QPointer<NotifyStruct> sendEntry(TestAccess::sendList(*proxy).last());
    proxy->Terminate();
    QVERIFY(!pending);
    QVERIFY(!notifyEntry);
    QVERIFY(!sendEntry);
    // Only the entry goes: a package that was not sent yet is still the application's.
    QVERIFY(stillQueued);
    QCOMPARE(completions, 0);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
}

void tst_ProxyTerminate::deletesEachPendingPackageOnce()
{
    const TestProxy proxy;
    int destructions = 0;
    auto *const twice = new CountedPackage<PackageRequestReadData>(&destructions);
    auto *const once = new CountedPackage<PackageRequestWriteData>(&destructions);
    TestAccess::requestList(*proxy) << twice << once << nullptr << twice;
    proxy->Terminate();
    QCOMPARE(destructions, 2);
}

void tst_ProxyTerminate::leavesRegistrationAndConnectionAlone()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    TestAccess::serverVersion(*proxy) = QStringLiteral("1.2");
    proxy->setPackageType(TarnEnum::ByteArrayPackage);
    proxy->Terminate();
    QVERIFY(proxy->isRegisted());
    QVERIFY(proxy->isConnectedServer());
    QCOMPARE(proxy->ServerVer(), QStringLiteral("1.2"));
    QCOMPARE(proxy->packageType(), TarnEnum::ByteArrayPackage);
    QVERIFY(TestAccess::client(*proxy)->SendData("alive"));
    QTRY_VERIFY_WITH_TIMEOUT(peer.bodies().contains("alive"), WaitLimitMs);
    QVERIFY(peer.isConnected());
}

void tst_ProxyTerminate::goesOnWithTheSameClientAfterTerminate()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    MsgSocketClient *const client = TestAccess::client(*proxy);
    const QPointer<MsgThread> notifyThread(TestAccess::notifyThread(*proxy));
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    QVERIFY(client->connectServer());
    proxy->Terminate();
    // Still there at this moment, so that a new worker cannot have the address of an old one.
    QVERIFY(notifyThread && sendThread);
    const LogCapture log;
    proxy->Initalize();
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(TestAccess::client(*proxy), client);
    QVERIFY(TestAccess::notifyThread(*proxy) != notifyThread);
    QVERIFY(TestAccess::sendThread(*proxy) != sendThread);
    QTRY_VERIFY_WITH_TIMEOUT(!notifyThread && !sendThread, WaitLimitMs);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QString(), QByteArray());
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\x05"}, WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(TestAccess::notifyList(*proxy).isEmpty(), WaitLimitMs);
    QCOMPARE(peer.connectionCount(), 1);
}

void tst_ProxyTerminate::terminatesWhenDestroyed()
{
    TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> notifyThread(TestAccess::notifyThread(*proxy));
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    const QPointer<PackageBase> pending(new PackageRequestReadData);
    TestAccess::requestList(*proxy) << pending;
    const QPointer<NotifyStruct> outgoing(appendEntry(&TestAccess::sendList(*proxy)));
    const QPointer<NotifyStruct> incoming(appendEntry(&TestAccess::notifyList(*proxy)));
    const LogCapture log;
    proxy.destroy();
    QVERIFY(!pending);
    QVERIFY(!outgoing);
    QVERIFY(!incoming);
    QTRY_VERIFY_WITH_TIMEOUT(!notifyThread && !sendThread, WaitLimitMs);
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyTerminate::neverReleasesTheClient()
{
    LocalPeer peer;
    auto *const proxy = new KVTServerMessageOldProxy;
    proxy->Initalize();
    const QPointer<MsgSocketClient> client(TestAccess::client(*proxy));
    QVERIFY(client->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    proxy->Terminate();
    delete proxy;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(client);
    QVERIFY(client->SendData("alive"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"alive"}, WaitLimitMs);
    delete client;
}

void tst_ProxyTerminate::canBeDestroyedWhileEventsArePending()
{
    LocalPeer peer;
    TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    QSemaphore ticks;
    connect(
        sendThread, &MsgThread::doInfo, sendThread, [&] { ticks.release(); }, Qt::DirectConnection);
    EventArgs args;
    proxy->OnBeginConnectAllController(nullptr, &args);
    proxy->OnCompleteConnectAllControllerr(nullptr, nullptr);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    peer.send(WireBytes::message(9, "k/1/2/A/5"));
    QVERIFY(ticks.tryAcquire(3, WaitLimitMs)); // queued in this thread, which serves no events
    QSignalSpy begun(&*proxy, &IKVTServerBaseProxy::BeginConnectAllController);
    QSignalSpy completed(&*proxy, &IKVTServerBaseProxy::CompleteConnectAllController);
    QSignalSpy changed(&*proxy, &IKVTServerBaseProxy::EquipmentChangeEvent);
    proxy.destroy();
    QTRY_VERIFY_WITH_TIMEOUT(!sendThread, WaitLimitMs);
    QCOMPARE(begun.size() + completed.size() + changed.size(), 0);
    QVERIFY(peer.bodies().isEmpty());
}

KSPROXY_TEST_MAIN(tst_ProxyTerminate)
#include "tst_ProxyTerminate.moc"
