#include "BeatLog.h"
#include "DeleteWatch.h"
#include "MsgThread.h"
#include "SleepGate.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QTest>

#include <pthread.h>

#include <atomic>
#include <ctime>
#include <functional>

namespace {

/// What a runner points to: its first virtual operation is the one that counts.
class Runnable
{
public:
    virtual int operate()
    {
        if (action)
            action();
        return ++operations;
    }
    virtual void doSomethingElse()
    {
        ++otherCalls;
    }
    virtual ~Runnable()
    {
        if (destructions != nullptr)
            ++*destructions;
    }

    std::function<void()> action;
    std::atomic<int> operations{0};
    std::atomic<int> otherCalls{0};
    std::atomic<int> *destructions = nullptr;
};

class DerivedRunnable : public Runnable
{
public:
    int operate() override
    {
        ++derivedOperations;
        return 0;
    }

    std::atomic<int> derivedOperations{0};
};

int runnerDestructions = 0;

// Processor time that a thread has used.
qint64 usedMilliseconds(pthread_t thread)
{
    clockid_t clock{};
    timespec used{};
    if (pthread_getcpuclockid(thread, &clock) != 0 || clock_gettime(clock, &used) != 0)
        return -1;
    return used.tv_sec * Q_INT64_C(1000) + used.tv_nsec / 1000000;
}

} // namespace

/// The runner's own side of what MsgThread only declares. The destructor is there to be seen not
/// to run.
class ThreadRunBase
{
public:
    explicit ThreadRunBase(Runnable *target)
        : runnable(target)
    { }
    ~ThreadRunBase()
    {
        ++runnerDestructions;
    }

    Runnable *runnable;
    int something = 0;
};

class tst_MsgThreadRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsTheFirstOperationOverAndOver();
    void callsTheOperationOfTheObjectsOwnClass();
    void stopsFromInsideTheOperation();
    void callsNothingWhenStoppedBefore();
    void looksAtTheRunnerEachTime();
    void servesNoEvents();
    void spinsUntilStoppedWithoutARunnable();
    void freesTheRunnerWithoutItsDestructor();
    void freesTheRunnerAfterARun();
    void leavesTheRunnableAlive();
};

void tst_MsgThreadRunner::callsTheFirstOperationOverAndOver()
{
    const SleepGate gate(SleepGate::Open);
    Runnable runnable;
    MsgThread thread(10, new ThreadRunBase(&runnable));
    const BeatLog log(&thread);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(runnable.operations >= 10000, WaitLimitMs);
    thread.setStop(true);
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(log.words(), (QStringList{QStringLiteral("begin"), QStringLiteral("end")}));
    QCOMPARE(runnable.otherCalls.load(), 0);
    QCOMPARE(gate.count(), 0);
}

void tst_MsgThreadRunner::callsTheOperationOfTheObjectsOwnClass()
{
    DerivedRunnable runnable;
    MsgThread thread(10, new ThreadRunBase(&runnable));
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(runnable.derivedOperations >= 100, WaitLimitMs);
    thread.setStop(true);
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(runnable.operations.load(), 0);
}

void tst_MsgThreadRunner::stopsFromInsideTheOperation()
{
    Runnable runnable;
    MsgThread thread(10, new ThreadRunBase(&runnable));
    QThread *caller = nullptr;
    runnable.action = [&] {
        caller = QThread::currentThread();
        if (runnable.operations == 4)
            thread.setStop(true);
    };
    thread.start();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(runnable.operations.load(), 5);
    QCOMPARE(caller, &thread);
}

void tst_MsgThreadRunner::callsNothingWhenStoppedBefore()
{
    Runnable runnable;
    MsgThread thread(10, new ThreadRunBase(&runnable));
    const BeatLog log(&thread);
    thread.setStop(true);
    thread.start();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(runnable.operations.load(), 0);
    QCOMPARE(log.words(), (QStringList{QStringLiteral("begin"), QStringLiteral("end")}));
}

void tst_MsgThreadRunner::looksAtTheRunnerEachTime()
{
    Runnable first;
    Runnable second;
    auto *const runner = new ThreadRunBase(&first);
    MsgThread thread(10, runner);
    std::atomic<bool> isTakenAway{false};
    first.action = [&] { runner->runnable = &second; };
    second.action = [&] {
        if (second.operations == 2) {
            runner->runnable = nullptr;
            isTakenAway = true;
        }
    };
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(isTakenAway.load(), WaitLimitMs);
    thread.setStop(true);
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(first.operations.load(), 1);
    QCOMPARE(second.operations.load(), 3);
}

void tst_MsgThreadRunner::servesNoEvents()
{
    Runnable runnable;
    MsgThread thread(0, new ThreadRunBase(&runnable));
    QObject inThread;
    std::atomic<bool> isServed{false};
    inThread.moveToThread(&thread);
    QMetaObject::invokeMethod(
        &inThread, [&] { isServed = true; }, Qt::QueuedConnection);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(runnable.operations >= 10000, WaitLimitMs);
    thread.setStop(true);
    QVERIFY(thread.wait(WaitLimitMs));
    QVERIFY(!isServed);
}

void tst_MsgThreadRunner::spinsUntilStoppedWithoutARunnable()
{
    const SleepGate gate(SleepGate::Open);
    MsgThread thread(10, new ThreadRunBase(nullptr));
    const BeatLog log(&thread);
    std::atomic<pthread_t> worker{};
    connect(
        &thread, &MsgThread::begionRunEvent, this, [&] { worker = pthread_self(); },
        Qt::DirectConnection);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(worker.load() != pthread_t(), WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(usedMilliseconds(worker) >= 20, WaitLimitMs);
    QVERIFY(thread.isRunning());
    QCOMPARE(log.words(), QStringList{QStringLiteral("begin")});
    thread.setStop(true);
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(log.words(), (QStringList{QStringLiteral("begin"), QStringLiteral("end")}));
    QCOMPARE(gate.count(), 0);
}

void tst_MsgThreadRunner::freesTheRunnerWithoutItsDestructor()
{
    Runnable runnable;
    runnerDestructions = 0;
    auto *const runner = new ThreadRunBase(&runnable);
    auto *const thread = new MsgThread(10, runner);
    DeleteWatch::watch(runner);
    delete thread;
    QCOMPARE(DeleteWatch::count(), 1);
    QCOMPARE(runnerDestructions, 0);
}

void tst_MsgThreadRunner::freesTheRunnerAfterARun()
{
    Runnable runnable;
    runnerDestructions = 0;
    auto *const runner = new ThreadRunBase(&runnable);
    auto *const thread = new MsgThread(10, runner);
    DeleteWatch::watch(runner);
    thread->start();
    QTRY_VERIFY_WITH_TIMEOUT(runnable.operations >= 1, WaitLimitMs);
    thread->setStop(true);
    QVERIFY(thread->wait(WaitLimitMs));
    QCOMPARE(DeleteWatch::count(), 0);
    delete thread;
    QCOMPARE(DeleteWatch::count(), 1);
    QCOMPARE(runnerDestructions, 0);
}

void tst_MsgThreadRunner::leavesTheRunnableAlive()
{
    std::atomic<int> destructions{0};
    const std::unique_ptr<Runnable> runnable = std::make_unique<Runnable>();
    runnable->destructions = &destructions;
    DeleteWatch::watch(runnable.get());
    {
        MsgThread thread(10, new ThreadRunBase(runnable.get()));
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(runnable->operations >= 1, WaitLimitMs);
        thread.setStop(true);
        QVERIFY(thread.wait(WaitLimitMs));
    }
    QCOMPARE(destructions.load(), 0);
    QCOMPARE(DeleteWatch::count(), 0);
    const int before = runnable->operations;
    runnable->operate();
    QCOMPARE(runnable->operations.load(), before + 1);
}

KSPROXY_TEST_MAIN(tst_MsgThreadRunner)
#include "tst_MsgThreadRunner.moc"
