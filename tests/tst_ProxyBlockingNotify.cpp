#include "LogCapture.h"
#include "LoopThread.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"

#include <QMutexLocker>
#include <QPointer>
#include <QSemaphore>
#include <QTest>
#include <QThread>

namespace {

constexpr LoopThread::Loop NotifyLoop = &KVTServerMessageOldProxy::notifyThreadProc;

/// A pending request that counts its completions.
class Pending
{
public:
    explicit Pending(const TestProxy &proxy)
    {
        const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
        TestAccess::requestList(*proxy).append(&request);
        request.setCompletionHandler([this](void *, PackageBase *adopted) {
            reply = adopted;
            thread = QThread::currentThread();
            if (onCompletion)
                onCompletion();
            completions.release();
        });
    }

    PackageRequestReadData request;
    std::function<void()> onCompletion;
    QPointer<PackageBase> reply;
    QThread *thread = nullptr;
    QSemaphore completions;

private:
    Q_DISABLE_COPY_MOVE(Pending)
};

void receiveReply(const TestProxy &proxy, const Pending &pending)
{
    const QByteArray text = replyText(pending.request.getSerialNum(), "data");
    proxy->ReceivedMessage(TarnEnum::ReplyReadData, QString::fromLatin1(text), QByteArray());
}

void receiveMarker(const TestProxy &proxy)
{
    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QString(), QByteArray());
}

} // namespace

/// The notify loop that blocks, on a thread of its own.
class tst_ProxyBlockingNotify : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void returnsAtOnceWhenStopped();
    void completesRequestsOnItsOwnThread();
    void isWokenByEachAppend();
    void isWokenByTerminate();
    void passesOverANullItem();
    void deletesItsItems();
    void leavesTheRestQueuedWhenStopped();
    void catchesATextThrownByAHandler();
    void raisesABroadcastOnItsOwnThread();
};

void tst_ProxyBlockingNotify::returnsAtOnceWhenStopped()
{
    const TestProxy proxy;
    receiveMarker(proxy);
    TestAccess::notifyStop(*proxy) = true;
    proxy->notifyThreadProc(false);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
}

void tst_ProxyBlockingNotify::completesRequestsOnItsOwnThread()
{
    const TestProxy proxy;
    Pending pending(proxy);
    {
        const LoopThread loop(&*proxy, NotifyLoop);
        receiveReply(proxy, pending);
        QVERIFY(pending.completions.tryAcquire(1, WaitLimitMs));
        QCOMPARE(pending.thread, loop.thread());
    }
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(!pending.reply); // cleared by the loop, released when its thread ended
    QCOMPARE(pending.completions.available(), 0);
}

void tst_ProxyBlockingNotify::isWokenByEachAppend()
{
    const TestProxy proxy;
    const LoopThread loop(&*proxy, NotifyLoop);
    for (int i = 0; i < 50; ++i) {
        Pending pending(proxy);
        receiveReply(proxy, pending);
        QVERIFY(pending.completions.tryAcquire(1, WaitLimitMs));
        // Handled to the end, so that the request may go: the next item is taken only then.
        receiveMarker(proxy);
        QTRY_VERIFY_WITH_TIMEOUT((QMutexLocker(&TestAccess::notifyMutex(*proxy)),
                                  TestAccess::notifyList(*proxy).isEmpty()),
                                 WaitLimitMs);
    }
}

void tst_ProxyBlockingNotify::isWokenByTerminate()
{
    const TestProxy proxy; // no worker: Terminate must wake the loop all the same
    for (int i = 0; i < 20; ++i) {
        TestAccess::notifyStop(*proxy) = false;
        const LoopThread loop(&*proxy, NotifyLoop);
        if (i % 2 == 0) { // in half of the rounds it is known to be past its first look
            Pending pending(proxy);
            receiveReply(proxy, pending);
            QVERIFY(pending.completions.tryAcquire(1, WaitLimitMs));
            proxy->Terminate();
            QVERIFY(loop.wait());
        } else {
            proxy->Terminate();
            QVERIFY(loop.wait());
        }
    }
}

void tst_ProxyBlockingNotify::passesOverANullItem()
{
    const TestProxy proxy;
    TestAccess::appendNotification(*proxy, nullptr);
    TestAccess::appendNotification(*proxy, nullptr);
    Pending pending(proxy);
    receiveReply(proxy, pending);
    const LoopThread loop(&*proxy, NotifyLoop);
    QVERIFY(pending.completions.tryAcquire(1, WaitLimitMs));
    proxy->Terminate();
    QVERIFY(loop.wait());
}

void tst_ProxyBlockingNotify::deletesItsItems()
{
    const TestProxy proxy;
    Pending pending(proxy);
    receiveReply(proxy, pending);
    receiveMarker(proxy);
    const QPointer<NotifyStruct> reply(TestAccess::notifyList(*proxy).first());
    const QPointer<NotifyStruct> marker(TestAccess::notifyList(*proxy).last());
    const LoopThread loop(&*proxy, NotifyLoop);
    QTRY_VERIFY_WITH_TIMEOUT(!reply && !marker, WaitLimitMs);
    QCOMPARE(pending.completions.available(), 1);
}

void tst_ProxyBlockingNotify::leavesTheRestQueuedWhenStopped()
{
    const TestProxy proxy;
    Pending pending(proxy);
    QSemaphore letGo;
    QSemaphore held;
    pending.onCompletion = [&] {
        held.release();
        letGo.acquire();
    };
    const LoopThread loop(&*proxy, NotifyLoop);
    receiveReply(proxy, pending);
    QVERIFY(held.tryAcquire(1, WaitLimitMs));
    receiveMarker(proxy); // no lock is held while the handler runs
    receiveMarker(proxy);
    TestAccess::notifyStop(*proxy) = true;
    letGo.release();
    QVERIFY(loop.wait());
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 2);
}

void tst_ProxyBlockingNotify::catchesATextThrownByAHandler()
{
    const TestProxy proxy;
    Pending throwing(proxy);
    Pending other(proxy);
    throwing.onCompletion = [&] {
        throwing.completions.release();
        throw QStringLiteral("given up");
    };
    const LogCapture log;
    const LoopThread loop(&*proxy, NotifyLoop);
    receiveReply(proxy, throwing);
    receiveReply(proxy, other);
    QVERIFY(other.completions.tryAcquire(1, WaitLimitMs));
    QCOMPARE(throwing.completions.available(), 1);
    QVERIFY(log.lines().isEmpty());
    proxy->Terminate();
    QVERIFY(loop.wait());
}

void tst_ProxyBlockingNotify::raisesABroadcastOnItsOwnThread()
{
    const TestProxy proxy;
    QSemaphore raised;
    QThread *raisedOn = nullptr;
    QPointer<PackageBase> reply;
    connect(
        &*proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, &*proxy,
        [&](void *, const CompletePackageRequestEventArgs &args) {
            reply = args.request();
            raisedOn = QThread::currentThread();
            raised.release();
        },
        Qt::DirectConnection);
    {
        const LoopThread loop(&*proxy, NotifyLoop);
        proxy->ReceivedMessage(TarnEnum::BroadcastReply, QStringLiteral("serialNum=7,11"),
                               QByteArray());
        QVERIFY(raised.tryAcquire(1, WaitLimitMs));
        QCOMPARE(raisedOn, loop.thread());
    }
    QVERIFY(!reply);
    QCOMPARE(raised.available(), 0);
}

KSPROXY_TEST_MAIN(tst_ProxyBlockingNotify)
#include "tst_ProxyBlockingNotify.moc"
