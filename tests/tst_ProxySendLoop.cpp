#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WatchedSocket.h"
#include "WireBytes.h"

#include <QPointer>
#include <QTest>
#include <QThread>

namespace {

bool isFree(QMutex &mutex)
{
    const bool wasFree = mutex.tryLock();
    if (wasFree)
        mutex.unlock();
    return wasFree;
}

} // namespace

class tst_ProxySendLoop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sendsOneMessagePerPass();
    void passesOverAnEmptyQueueWithoutTheLock();
    void doesNothingWithoutAClient();
    void leavesTheQueueAloneOnceStopped();
    void removesANullEntry();
    void remembersEachMessageInOrder();
    void remembersARequestBeforeItIsWritten();
    void deletesTheEntryButNotThePackage();
    void sendsIdentifierAndTextOnly_data();
    void sendsIdentifierAndTextOnly();
    void completesARequestThatCannotBeWritten();
    void completesARequestWhoseWriteIsRefused();
    void takesBackTheFirstOccurrenceOnly();
    void dropsACommandThatCannotBeWritten();
    void triesEachMessageOnce();
    void letsTheHandlerSendAgain();
    void sendsThroughItsWorker();
};

void tst_ProxySendLoop::sendsOneMessagePerPass()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    proxy->SendCommand(TarnEnum::ConnectOneController, QStringLiteral("one"));
    proxy->SendCommand(TarnEnum::ConnectOneController, QStringLiteral("two"));
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\3one"}, WaitLimitMs);
    proxy->SendThreadFun(true); // what it is given does not matter
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), (QList<QByteArray>{"\3one", "\3two"}), WaitLimitMs);
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::requestList(*proxy).size(), 2);
}

void tst_ProxySendLoop::passesOverAnEmptyQueueWithoutTheLock()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    const QMutexLocker sendLocker(&TestAccess::sendMutex(*proxy));
    const QMutexLocker requestLocker(&TestAccess::requestMutex(*proxy));
    const LogCapture log;
    proxy->SendThreadFun(false); // would never return if it took one of them
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxySendLoop::doesNothingWithoutAClient()
{
    const TestProxy proxy;
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
}

void tst_ProxySendLoop::leavesTheQueueAloneOnceStopped()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    TestAccess::sendStop(*proxy) = true;
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 2);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(TestAccess::client(*proxy)->SendData("marker"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"marker"}, WaitLimitMs);
    TestAccess::sendStop(*proxy) = false;
    proxy->SendThreadFun(false);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), (QList<QByteArray>{"marker", "\5"}), WaitLimitMs);
}

void tst_ProxySendLoop::removesANullEntry()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    TestAccess::appendOutgoing(*proxy, nullptr);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    proxy->SendThreadFun(false);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
}

void tst_ProxySendLoop::remembersEachMessageInOrder()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    PackageRequestReadData first;
    PackageRequestWriteData second;
    proxy->SendPackageMessage(&first);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendPackageMessage(&second);
    proxy->SendPackageMessage(&first);
    for (int pass = 0; pass < 4; ++pass)
        proxy->SendThreadFun(false);
    // A command leaves a null behind.
    QCOMPARE(TestAccess::requestList(*proxy),
             (QList<PackageBase *>{&first, nullptr, &second, &first}));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 4, WaitLimitMs);
    TestAccess::requestList(*proxy).clear(); // the packages belong to this test
}

void tst_ProxySendLoop::remembersARequestBeforeItIsWritten()
{
    LocalPeer peer;
    const TestProxy proxy;
    WatchedSocket *const socket = WatchedSocket::install(&*proxy);
    QVERIFY(socket != nullptr);
    PackageRequestReadData package;
    QList<PackageBase *> pendingAtWrite;
    bool wereLocksFree = false;
    socket->onWrite = [&] {
        pendingAtWrite = TestAccess::requestList(*proxy);
        wereLocksFree
            = isFree(TestAccess::requestMutex(*proxy)) && isFree(TestAccess::sendMutex(*proxy));
    };
    proxy->SendPackageMessage(&package);
    proxy->SendThreadFun(false);
    QCOMPARE(pendingAtWrite, QList<PackageBase *>{&package});
    QVERIFY(wereLocksFree);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1, WaitLimitMs);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::deletesTheEntryButNotThePackage()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    int destructions = 0;
    CountedPackage<PackageRequestReadData> package(&destructions);
    proxy->SendPackageMessage(&package);
    const QPointer<NotifyStruct> entry(TestAccess::sendList(*proxy).first());
    proxy->SendThreadFun(false);
    QVERIFY(!entry);
    QCOMPARE(destructions, 0);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::sendsIdentifierAndTextOnly_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("low byte of the identifier")
        << 0x105 << QStringLiteral("AB") << QByteArray("\5\x41\x42");
    QTest::newRow("a negative identifier") << -1 << QString() << QByteArray("\xFF");
    QTest::newRow("no text") << 19 << QString() << QByteArray("\x13");
    QTest::newRow("all of Latin-1")
        << 3 << QStringLiteral("\u0080\u00FF") << QByteArray("\3\x80\xFF");
    QTest::newRow("beyond Latin-1")
        << 3 << QStringLiteral("a\u0100\u4E2Db") << QByteArray("\3a??b");
    QTest::newRow("a zero in the text")
        << 3 << QString::fromLatin1("a\0b", 3) << QByteArray("\3a\0b", 4);
}

void tst_ProxySendLoop::sendsIdentifierAndTextOnly()
{
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QByteArray, body);
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    auto *const entry = new NotifyStruct;
    entry->setSendID(static_cast<TarnEnum::MessageIDs>(id));
    entry->setInfo(text);
    entry->setByteArrayInfo("never sent");
    TestAccess::appendOutgoing(*proxy, entry);
    proxy->SendThreadFun(false);
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), WireBytes::frame(body), WaitLimitMs);
}

void tst_ProxySendLoop::completesARequestThatCannotBeWritten()
{
    const TestProxy proxy;
    proxy->creatMsgClient(); // never connected
    PackageRequestReadData other;
    PackageRequestReadData package;
    TestAccess::requestList(*proxy).append(&other);
    int completions = 0;
    package.setCompletionHandler([&](void *sender, PackageBase *reply) {
        ++completions;
        QCOMPARE(sender, static_cast<void *>(&*proxy));
        QCOMPARE(reply, &package);
        QCOMPARE(static_cast<int>(package.getCommResult()), 4);
        QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{&other});
        QVERIFY(isFree(TestAccess::requestMutex(*proxy)));
        QVERIFY(isFree(TestAccess::sendMutex(*proxy)));
        QCOMPARE(QThread::currentThread(), thread());
    });
    proxy->SendPackageMessage(&package);
    const QPointer<NotifyStruct> entry(TestAccess::sendList(*proxy).first());
    const LogCapture log;
    proxy->SendThreadFun(false);
    QCOMPARE(completions, 1);
    QVERIFY(!entry);
    QVERIFY(log.lines().isEmpty());
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::completesARequestWhoseWriteIsRefused()
{
    LocalPeer peer;
    const TestProxy proxy;
    WatchedSocket *const socket = WatchedSocket::install(&*proxy);
    QVERIFY(socket != nullptr);
    socket->refuses = true;
    PackageRequestWriteData package;
    int completions = 0;
    package.setCompletionHandler([&](void *, PackageBase *reply) {
        ++completions;
        QCOMPARE(reply, &package);
    });
    proxy->SendPackageMessage(&package);
    proxy->SendThreadFun(false);
    QCOMPARE(completions, 1);
    QCOMPARE(package.getCommResult(), TarnEnum::WriteFailed);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    socket->refuses = false;
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendThreadFun(false);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
}

void tst_ProxySendLoop::takesBackTheFirstOccurrenceOnly()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    PackageRequestReadData package;
    PackageRequestReadData other;
    TestAccess::requestList(*proxy) << &package << nullptr << &other;
    proxy->SendPackageMessage(&package);
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{nullptr, &other, &package}));
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::dropsACommandThatCannotBeWritten()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    PackageRequestReadData pending;
    int completions = 0;
    pending.setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    TestAccess::requestList(*proxy).append(&pending);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    const LogCapture log;
    proxy->SendThreadFun(false);
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{&pending});
    QCOMPARE(completions, 0);
    QVERIFY(log.lines().isEmpty());
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::triesEachMessageOnce()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    proxy->SendCommand(TarnEnum::ConnectAllControllers, QString());
    proxy->SendThreadFun(false);
    QVERIFY(proxy.connectServer());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->SendThreadFun(false);
    proxy->SendThreadFun(false);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
}

void tst_ProxySendLoop::letsTheHandlerSendAgain()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    PackageRequestReadData package;
    package.setCompletionHandler(
        [&](void *, PackageBase *) { proxy->SendPackageMessage(&package); });
    proxy->SendPackageMessage(&package);
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QVERIFY(proxy.connectServer());
    proxy->SendThreadFun(false);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{&package});
    QTRY_COMPARE_WITH_TIMEOUT(
        peer.bodies(), QList<QByteArray>{"\7" + package.toRequestString().toLatin1()}, WaitLimitMs);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxySendLoop::sendsThroughItsWorker()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    PackageRequestReadData package;
    package.setReadLength(1);
    QVERIFY(proxy->SendRequestReadData(&package));
    QVERIFY(proxy->CancelServerAllSend());
    const QList<QByteArray> bodies
        = {QByteArray(1, '\0'), "\7" + package.toRequestString().toLatin1(), "\5"};
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), bodies, WaitLimitMs);
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{nullptr, &package, nullptr}));
    TestAccess::requestList(*proxy).clear();
}

KSPROXY_TEST_MAIN(tst_ProxySendLoop)
#include "tst_ProxySendLoop.moc"
