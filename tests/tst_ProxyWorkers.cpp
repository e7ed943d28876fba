#include "LogCapture.h"
#include "MsgThread.h"
#include "PackageRequestReadData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSemaphore>
#include <QTest>

#include <atomic>

namespace {

/// Keeps a worker inside its own `doInfo` until it is let go.
class HeldWorker
{
public:
    explicit HeldWorker(MsgThread *worker)
        : m_worker(worker)
    {
        QObject::connect(
            worker, &MsgThread::doInfo, worker,
            [this] {
                m_held.release();
                m_letGo.acquire();
                m_letGo.release();
            },
            Qt::DirectConnection);
    }
    ~HeldWorker()
    {
        letGo();
        if (m_worker)
            m_worker->wait();
    }

    bool waitUntilHeld()
    {
        return m_held.tryAcquire(1, WaitLimitMs);
    }
    void letGo()
    {
        m_letGo.release();
    }

private:
    Q_DISABLE_COPY_MOVE(HeldWorker)

    const QPointer<MsgThread> m_worker;
    QSemaphore m_held;
    QSemaphore m_letGo;
};

/// Runs everything that is queued for this thread, deletions included.
void serveEvents()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

using Worker = MsgThread *&(*)(KVTServerMessageOldProxy &);

} // namespace

Q_DECLARE_METATYPE(Worker)

/// What becomes of the workers when they are stopped, above all when they do not stop in time.
class tst_ProxyWorkers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopsAWorkerThatTicks();
    void releasesABusyWorkerOnlyWhenItEnds_data();
    void releasesABusyWorkerOnlyWhenItEnds();
    void releasesASleepingWorkerOnlyWhenItEnds();
    void releasesABusyWorkerAfterItsOwnDestruction();
    void stopsTheNotifyWorkerFirst();
    void holdsTheQueueWhileItWaits_data();
    void holdsTheQueueWhileItWaits();
    void doesNothingOnTicksThatComeAfterTerminate();
};

void tst_ProxyWorkers::stopsAWorkerThatTicks()
{
    const TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> notifyThread(TestAccess::notifyThread(*proxy));
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    QSemaphore ended;
    for (MsgThread *const worker : {notifyThread.data(), sendThread.data()}) {
        connect(
            worker, &MsgThread::endRunEvent, worker, [&] { ended.release(); },
            Qt::DirectConnection);
    }
    proxy->Terminate();
    QVERIFY(ended.tryAcquire(2, WaitLimitMs));
    QVERIFY(notifyThread && sendThread); // released by the event loop, not at once
    QTRY_VERIFY_WITH_TIMEOUT(!notifyThread && !sendThread, WaitLimitMs);
}

void tst_ProxyWorkers::releasesABusyWorkerOnlyWhenItEnds_data()
{
    QTest::addColumn<Worker>("worker");
    QTest::newRow("the notify worker") << Worker(&TestAccess::notifyThread);
    QTest::newRow("the send worker") << Worker(&TestAccess::sendThread);
}

void tst_ProxyWorkers::releasesABusyWorkerOnlyWhenItEnds()
{
    QFETCH(Worker, worker);
    const TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> busy(worker(*proxy));
    HeldWorker held(busy);
    QVERIFY(held.waitUntilHeld());
    QElapsedTimer timer;
    timer.start();
    proxy->Terminate();
    QVERIFY(timer.elapsed() >= 100);
    QVERIFY(worker(*proxy) == nullptr);
    serveEvents();
    serveEvents();
    QVERIFY(busy);
    QVERIFY(busy->isRunning());
    held.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(!busy, WaitLimitMs);
}

void tst_ProxyWorkers::releasesASleepingWorkerOnlyWhenItEnds()
{
    const TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> sleeping(TestAccess::sendThread(*proxy));
    QSemaphore ticks;
    connect(
        sleeping, &MsgThread::doInfo, sleeping, [&] { ticks.release(); }, Qt::DirectConnection);
    // Set before the tick whose sleep is going to be the long one.
    QVERIFY(ticks.tryAcquire(1, WaitLimitMs));
    sleeping->setInterval(1500);
    ticks.acquire(ticks.available());
    QVERIFY(ticks.tryAcquire(1, WaitLimitMs));
    proxy->Terminate();
    serveEvents();
    QVERIFY(sleeping);
    QTRY_VERIFY_WITH_TIMEOUT(!sleeping, WaitLimitMs);
    QCOMPARE(ticks.available(), 0);
}

void tst_ProxyWorkers::releasesABusyWorkerAfterItsOwnDestruction()
{
    TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> busy(TestAccess::notifyThread(*proxy));
    HeldWorker held(busy);
    QVERIFY(held.waitUntilHeld());
    proxy.destroy();
    serveEvents();
    QVERIFY(busy);
    QVERIFY(busy->isRunning());
    held.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(!busy, WaitLimitMs);
}

void tst_ProxyWorkers::stopsTheNotifyWorkerFirst()
{
    const TestProxy proxy;
    proxy->Initalize();
    MsgThread *const notifyThread = TestAccess::notifyThread(*proxy);
    MsgThread *const sendThread = TestAccess::sendThread(*proxy);
    QSemaphore entered;
    QSemaphore seen;
    std::atomic<bool> wasNotifyStopped{false};
    connect(
        sendThread, &MsgThread::doInfo, sendThread,
        [&] {
            entered.release();
            // Nobody deletes the other worker meanwhile: the test serves no events.
            while (!sendThread->stop())
                QThread::yieldCurrentThread();
            wasNotifyStopped = notifyThread->stop();
            seen.release();
        },
        Qt::DirectConnection);
    QVERIFY(entered.tryAcquire(1, WaitLimitMs));
    proxy->Terminate();
    QVERIFY(seen.tryAcquire(1, WaitLimitMs));
    QVERIFY(wasNotifyStopped);
}

void tst_ProxyWorkers::holdsTheQueueWhileItWaits_data()
{
    QTest::addColumn<bool>("notify");
    QTest::newRow("the notify queue") << true;
    QTest::newRow("the send queue") << false;
}

void tst_ProxyWorkers::holdsTheQueueWhileItWaits()
{
    QFETCH(bool, notify);
    const TestProxy proxy;
    proxy->Initalize();
    MsgThread *const worker
        = notify ? TestAccess::notifyThread(*proxy) : TestAccess::sendThread(*proxy);
    QMutex &mutex = notify ? TestAccess::notifyMutex(*proxy) : TestAccess::sendMutex(*proxy);
    QSemaphore entered;
    QSemaphore done;
    std::atomic<bool> wasHeld{false};
    connect(
        worker, &MsgThread::doInfo, worker,
        [&] {
            entered.release();
            while (!worker->stop())
                QThread::yieldCurrentThread();
            QElapsedTimer timer;
            timer.start();
            // The wait holds it for 100 ms, since this worker does not end; then it is free.
            while (!wasHeld && timer.elapsed() < 5000) {
                if (mutex.tryLock())
                    mutex.unlock();
                else
                    wasHeld = true;
            }
            done.release();
        },
        Qt::DirectConnection);
    QVERIFY(entered.tryAcquire(1, WaitLimitMs));
    proxy->Terminate();
    QVERIFY(done.tryAcquire(1, WaitLimitMs));
    QVERIFY(wasHeld);
    QVERIFY(mutex.tryLock());
    mutex.unlock();
}

void tst_ProxyWorkers::doesNothingOnTicksThatComeAfterTerminate()
{
    const TestProxy proxy;
    proxy->Initalize();
    const QPointer<MsgThread> sendThread(TestAccess::sendThread(*proxy));
    QSemaphore ticks;
    connect(
        sendThread, &MsgThread::doInfo, sendThread, [&] { ticks.release(); }, Qt::DirectConnection);
    QVERIFY(ticks.tryAcquire(3, WaitLimitMs)); // queued, since the test has served no events yet
    proxy->Terminate();
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QString(), QByteArray());
    QTRY_VERIFY_WITH_TIMEOUT(!sendThread, WaitLimitMs);
    QCOMPARE(TestAccess::sendList(*proxy).size(), 1);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
}

KSPROXY_TEST_MAIN(tst_ProxyWorkers)
#include "tst_ProxyWorkers.moc"
