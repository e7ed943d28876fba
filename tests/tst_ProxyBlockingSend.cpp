#include "LocalPeer.h"
#include "LogCapture.h"
#include "LoopThread.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WatchedSocket.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QMutexLocker>
#include <QPointer>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>
#include <climits>

namespace {

constexpr LoopThread::Loop SendLoop = &KVTServerMessageOldProxy::sendThreadProc;

// Not a shared copy, which would be read after the lock is gone.
QList<PackageBase *> pending(const TestProxy &proxy)
{
    const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
    const QList<PackageBase *> &list = TestAccess::requestList(*proxy);
    return {list.cbegin(), list.cend()};
}

/// Waits, without serving an event of this thread, until that many messages are pending. What is
/// pending then has not been written: only this thread writes.
bool waitForPending(const TestProxy &proxy, int count)
{
    QElapsedTimer timer;
    timer.start();
    while (pending(proxy).size() != count && timer.elapsed() < WaitLimitMs)
        QThread::yieldCurrentThread();
    return pending(proxy).size() == count;
}

} // namespace

/// The send loop that blocks, on a thread of its own.
class tst_ProxyBlockingSend : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void returnsAtOnceWhenStopped();
    void returnsWithoutAClient();
    void sendsWhatIsQueuedAlready();
    void isWokenByEachAppend();
    void isWokenByTerminate();
    void passesOverANullEntry();
    void remembersARequestBeforeItIsWritten();
    void writesNothingOnceStopped();
    void leavesTheRestQueuedWhenStopped();
    void sendsAgainWhenStartedAgain();
    void completesARequestThatCannotBeWritten();
    void dropsACommandThatCannotBeWritten();
    void leavesAloneARequestThatIsGone();
    void pausesWithoutMemory();
};

void tst_ProxyBlockingSend::returnsAtOnceWhenStopped()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    TestAccess::sendStop(*proxy) = true;
    proxy->sendThreadProc(false);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QVERIFY(pending(proxy).isEmpty());
}

void tst_ProxyBlockingSend::returnsWithoutAClient()
{
    const TestProxy proxy;
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->sendThreadProc(true);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QVERIFY(pending(proxy).isEmpty());
}

void tst_ProxyBlockingSend::sendsWhatIsQueuedAlready()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    const LogCapture log;
    QList<QByteArray> bodies;
    for (int i = 0; i < 20; ++i) {
        proxy->SendCommand(TarnEnum::ConnectOneController, QString::number(i));
        bodies.append("\3" + QByteArray::number(i));
    }
    auto *const withBytes = new NotifyStruct;
    withBytes->setSendID(TarnEnum::CancelAllSends);
    withBytes->setByteArrayInfo("never sent");
    const QPointer<NotifyStruct> entry(withBytes);
    TestAccess::appendOutgoing(*proxy, withBytes);
    bodies.append("\5");
    const LoopThread loop(&*proxy, SendLoop);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), bodies, WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!entry, WaitLimitMs);
    QCOMPARE(pending(proxy).size(), bodies.size());
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyBlockingSend::isWokenByEachAppend()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    const LoopThread loop(&*proxy, SendLoop);
    QList<QByteArray> bodies;
    PackageRequestReadData package;
    const QByteArray request = "\7" + package.toRequestString().toLatin1();
    // Each only when the one before has arrived, so that the loop finds its queue empty.
    for (int i = 0; i < 50; ++i) {
        if (i % 2 == 0)
            proxy->SendCommand(TarnEnum::CancelAllSends, QString());
        else
            proxy->SendPackageMessage(&package);
        bodies.append(i % 2 == 0 ? QByteArray("\5") : request);
        QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), bodies, WaitLimitMs);
    }
    const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyBlockingSend::isWokenByTerminate()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer()); // no worker: Terminate must wake the loop all the same
    for (int i = 0; i < 20; ++i) {
        TestAccess::sendStop(*proxy) = false;
        const LoopThread loop(&*proxy, SendLoop);
        if (i % 2 == 0) { // in half of the rounds it is known to be past its first look
            proxy->SendCommand(TarnEnum::CancelAllSends, QString());
            QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), i / 2 + 1, WaitLimitMs);
        }
        proxy->Terminate();
        QVERIFY(loop.wait());
    }
}

void tst_ProxyBlockingSend::passesOverANullEntry()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    TestAccess::appendOutgoing(*proxy, nullptr);
    TestAccess::appendOutgoing(*proxy, nullptr);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    const LoopThread loop(&*proxy, SendLoop);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
    QCOMPARE(pending(proxy).size(), 1);
}

void tst_ProxyBlockingSend::remembersARequestBeforeItIsWritten()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    PackageRequestReadData package;
    proxy->SendPackageMessage(&package);
    const LoopThread loop(&*proxy, SendLoop);
    QVERIFY(waitForPending(proxy, 1));
    QCOMPARE(pending(proxy), QList<PackageBase *>{&package});
    QVERIFY(TestAccess::sendMutex(*proxy).tryLock(WaitLimitMs)); // free while it waits
    TestAccess::sendMutex(*proxy).unlock();
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1, WaitLimitMs);
    const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyBlockingSend::writesNothingOnceStopped()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    int destructions = 0;
    int completions = 0;
    auto *const package = new CountedPackage<PackageRequestReadData>(&destructions);
    package->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    proxy->SendPackageMessage(package);
    const QPointer<NotifyStruct> entry(TestAccess::sendList(*proxy).first());
    const LoopThread loop(&*proxy, SendLoop);
    QVERIFY(waitForPending(proxy, 1)); // handed over to this thread, which has not looked yet
    proxy->Terminate();
    QVERIFY(loop.wait());
    QCOMPARE(destructions, 1);
    QCOMPARE(completions, 0);
    QVERIFY(!entry);
    QCoreApplication::processEvents(); // the handed-over message, withdrawn by now
    QVERIFY(TestAccess::client(*proxy)->SendData("marker"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"marker"}, WaitLimitMs);
}

void tst_ProxyBlockingSend::leavesTheRestQueuedWhenStopped()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    proxy->SendCommand(TarnEnum::ConnectAllControllers, QString());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    const LoopThread loop(&*proxy, SendLoop);
    QVERIFY(waitForPending(proxy, 1));
    {
        const QMutexLocker locker(&TestAccess::sendMutex(*proxy));
        TestAccess::sendStop(*proxy) = true;
        TestAccess::sendCondition(*proxy).wakeAll();
    }
    QVERIFY(loop.wait());
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{5, QString(), QByteArray(), nullptr}}));
    QVERIFY(TestAccess::client(*proxy)->SendData("marker"));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"marker"}, WaitLimitMs);
}

void tst_ProxyBlockingSend::sendsAgainWhenStartedAgain()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    {
        const LoopThread loop(&*proxy, SendLoop);
        proxy->Terminate();
        QVERIFY(loop.wait());
    }
    TestAccess::sendStop(*proxy) = false;
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    const LoopThread loop(&*proxy, SendLoop);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
}

void tst_ProxyBlockingSend::completesARequestThatCannotBeWritten()
{
    const TestProxy proxy;
    proxy->creatMsgClient(); // never connected
    PackageRequestReadData package;
    struct Completion
    {
        void *sender;
        PackageBase *reply;
        TarnEnum::CommResults result;
        bool isPending;
        QThread *thread;
    };
    QList<Completion> completions;
    QSemaphore completed;
    package.setCompletionHandler([&](void *sender, PackageBase *reply) {
        completions.append({sender, reply, package.getCommResult(),
                            pending(proxy).contains(&package), QThread::currentThread()});
        completed.release();
    });
    proxy->SendPackageMessage(&package);
    const LoopThread loop(&*proxy, SendLoop);
    QTRY_COMPARE_WITH_TIMEOUT(completed.available(), 1, WaitLimitMs);
    QVERIFY(completed.tryAcquire(1));
    QCOMPARE(completions.size(), 1);
    QCOMPARE(completions.first().sender, static_cast<void *>(&*proxy));
    QCOMPARE(completions.first().reply, &package);
    QCOMPARE(completions.first().result, TarnEnum::WriteFailed);
    QVERIFY(!completions.first().isPending);
    QCOMPARE(completions.first().thread, loop.thread());
}

void tst_ProxyBlockingSend::dropsACommandThatCannotBeWritten()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->creatMsgClient();
    proxy->SendCommand(TarnEnum::ConnectAllControllers, QString());
    const LoopThread loop(&*proxy, SendLoop);
    QVERIFY(waitForPending(proxy, 1));
    QTRY_VERIFY_WITH_TIMEOUT(pending(proxy).isEmpty(), WaitLimitMs);
    QVERIFY(proxy.connectServer());
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\5"}, WaitLimitMs);
}

void tst_ProxyBlockingSend::leavesAloneARequestThatIsGone()
{
    LocalPeer peer;
    const TestProxy proxy;
    WatchedSocket *const socket = WatchedSocket::install(&*proxy);
    QVERIFY(socket != nullptr);
    bool wasTried = false;
    socket->onWrite = [&] { wasTried = true; };
    socket->refuses = true;
    std::atomic<int> completions{0};
    auto *const package = new PackageRequestReadData;
    package->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    proxy->SendPackageMessage(package);
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    const LoopThread loop(&*proxy, SendLoop);
    QVERIFY(waitForPending(proxy, 1));
    {
        // The loop learns of the failed write, but somebody else has ended the request by then.
        const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
        QTRY_VERIFY_WITH_TIMEOUT(wasTried, WaitLimitMs);
        delete TestAccess::requestList(*proxy).takeFirst();
    }
    // Its next message shows that it has finished with this one.
    QVERIFY(waitForPending(proxy, 1));
    QCOMPARE(completions.load(), 0);
}

void tst_ProxyBlockingSend::pausesWithoutMemory()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("The sanitizer ends a process that asks for so much.");
#endif
    constexpr int Failures = 20;
    const TestProxy proxy;
    proxy->creatMsgClient();
    auto *const entry = new NotifyStruct;
    const QChar letter = QLatin1Char('a');
    entry->setInfo(QString::fromRawData(&letter, INT_MAX)); // no array of bytes can be as long
    TestAccess::appendOutgoing(*proxy, entry);
    const LogCapture log;
    const auto failures
        = [&log] { return log.count(QtCriticalMsg, QStringLiteral("out of memory")); };
    QElapsedTimer timer;
    timer.start();
    const LoopThread loop(&*proxy, SendLoop);
    QTRY_VERIFY_WITH_TIMEOUT(failures() >= Failures, WaitLimitMs);
    QVERIFY(pending(proxy).isEmpty());
    const int failed = failures();
    QVERIFY2(failed <= timer.elapsed() / 10 + 1, qPrintable(QString::number(failed)));
}

KSPROXY_TEST_MAIN(tst_ProxyBlockingSend)
#include "tst_ProxyBlockingSend.moc"
