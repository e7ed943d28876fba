#include "BeatLog.h"
#include "MsgThread.h"
#include "SleepGate.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <limits>

namespace {

constexpr qint64 NanosecondsPerMs = 1000000;

/// The same fields as plain members, in the order in which they must lie.
struct PlainThread : public QThread
{
    bool stop;
    qint32 interval;
    void *runner;
};

/// Asks the thread to stop and waits until it has ended.
bool stopAndWait(MsgThread *thread)
{
    thread->setStop(true);
    return thread->wait(WaitLimitMs);
}

/// Remembers on which thread its events arrive.
class EventReceiver : public QObject
{
public:
    std::atomic<int> events{0};
    std::atomic<QThread *> thread{nullptr};

    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        thread = QThread::currentThread();
        ++events;
        return true;
    }
};

} // namespace

/// When a worker beats, sleeps and ends.
class tst_MsgThreadPace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beatsAtItsInterval();
    void endsAfterItsSleepWithoutAnotherBeat();
    void servesEventsAfterItsLastSleep();
    void doesNotSleepWhenStoppedDuringABeat();
    void yieldsOnlyWithAnIntervalOfZero();
    void sleepsForeverWithANegativeInterval_data();
    void sleepsForeverWithANegativeInterval();
    void takesANewIntervalAtTheNextSleep();
};

void tst_MsgThreadPace::beatsAtItsInterval()
{
    const SleepGate gate(SleepGate::Open);
    MsgThread thread(10, nullptr);
    int received = 0;
    connect(
        &thread, &MsgThread::doInfo, this, [&] { ++received; }, Qt::QueuedConnection);
    QElapsedTimer timer;
    timer.start();
    thread.start(QThread::InheritPriority);
    QTRY_VERIFY_WITH_TIMEOUT(received >= 30, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 29 * 10);
    QVERIFY(stopAndWait(&thread));
    QCoreApplication::sendPostedEvents(this);
    const QList<qint64> sleeps = gate.nanoseconds();
    QCOMPARE(sleeps.count(10 * NanosecondsPerMs), sleeps.size());
    // One sleep after each beat, but none after a beat that already finds the thread stopped.
    QVERIFY2(sleeps.size() == received || sleeps.size() == received - 1,
             qPrintable(QStringLiteral("%1 sleeps, %2 beats").arg(sleeps.size()).arg(received)));
}

void tst_MsgThreadPace::endsAfterItsSleepWithoutAnotherBeat()
{
    SleepGate gate(SleepGate::Closed);
    MsgThread thread(10, nullptr);
    const BeatLog log(&thread);
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 1, WaitLimitMs);
    thread.setStop(true);
    QVERIFY(thread.isRunning());
    QCOMPARE(log.words(), (QStringList{QStringLiteral("begin"), QStringLiteral("false")}));
    gate.releaseOne();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(
        log.words(),
        (QStringList{QStringLiteral("begin"), QStringLiteral("false"), QStringLiteral("end")}));
    QCOMPARE(gate.count(), 1);
}

void tst_MsgThreadPace::servesEventsAfterItsLastSleep()
{
    SleepGate gate(SleepGate::Closed);
    MsgThread thread(10, nullptr);
    EventReceiver receiver;
    receiver.moveToThread(&thread);
    std::atomic<int> eventsAtEnd{-1};
    connect(
        &thread, &MsgThread::endRunEvent, this, [&] { eventsAtEnd = receiver.events.load(); },
        Qt::DirectConnection);
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 1, WaitLimitMs);
    QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    thread.setStop(true);
    QCOMPARE(receiver.events.load(), 0);
    gate.releaseOne();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(eventsAtEnd.load(), 1);
}

void tst_MsgThreadPace::doesNotSleepWhenStoppedDuringABeat()
{
    const SleepGate gate(SleepGate::Open);
    MsgThread thread(10, nullptr);
    EventReceiver receiver;
    receiver.moveToThread(&thread);
    const BeatLog log(&thread);
    connect(
        &thread, &MsgThread::doInfo, this,
        [&] {
            QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
            thread.setStop(true);
        },
        Qt::DirectConnection);
    thread.start();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(
        log.words(),
        (QStringList{QStringLiteral("begin"), QStringLiteral("false"), QStringLiteral("end")}));
    QCOMPARE(gate.count(), 0);
    QCOMPARE(receiver.events.load(), 0);
}

void tst_MsgThreadPace::yieldsOnlyWithAnIntervalOfZero()
{
    const SleepGate gate(SleepGate::Open);
    MsgThread thread(0, nullptr);
    const BeatLog log(&thread);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(log.beats() >= 500, WaitLimitMs);
    QVERIFY(stopAndWait(&thread));
    const QList<qint64> sleeps = gate.nanoseconds();
    QCOMPARE(sleeps.count(0), sleeps.size());
}

void tst_MsgThreadPace::sleepsForeverWithANegativeInterval_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<qint64>("seconds");
    // 2^64 milliseconds less the interval.
    QTest::newRow("one") << -1 << Q_INT64_C(18446744073709551);
    QTest::newRow("ten") << -10 << Q_INT64_C(18446744073709551);
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << Q_INT64_C(18446744071562067);
}

void tst_MsgThreadPace::sleepsForeverWithANegativeInterval()
{
    QFETCH(int, interval);
    QFETCH(qint64, seconds);
    SleepGate gate(SleepGate::Open);
    MsgThread sleeper(interval, nullptr);
    const BeatLog log(&sleeper);
    std::atomic<int> sleeperId{0};
    connect(
        &sleeper, &MsgThread::doInfo, this,
        [&] { sleeperId = static_cast<int>(syscall(SYS_gettid)); }, Qt::DirectConnection);
    sleeper.start();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 1, WaitLimitMs);
    QCOMPARE(gate.lastSeconds(), seconds);
    // Neither a new interval nor the stop flag wakes it while another thread beats on.
    sleeper.setInterval(0);
    sleeper.setStop(true);
    MsgThread other(1, nullptr);
    const BeatLog otherLog(&other);
    other.start();
    QTRY_VERIFY_WITH_TIMEOUT(otherLog.beats() >= 50, WaitLimitMs);
    QVERIFY(stopAndWait(&other));
    const bool isAsleep = sleeper.isRunning();
    const QStringList words = log.words();
    const QDeadlineTimer deadline(WaitLimitMs);
    while (!sleeper.wait(10) && !deadline.hasExpired())
        gate.wake(sleeperId);
    QVERIFY(isAsleep);
    QCOMPARE(words, (QStringList{QStringLiteral("begin"), QStringLiteral("false")}));
    QVERIFY(sleeper.isFinished());
}

void tst_MsgThreadPace::takesANewIntervalAtTheNextSleep()
{
    SleepGate gate(SleepGate::Closed);
    MsgThread thread(10, nullptr);
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 1, WaitLimitMs);
    thread.setInterval(25);
    gate.releaseOne();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 2, WaitLimitMs);
    thread.setInterval(1500);
    gate.releaseOne();
    QTRY_COMPARE_WITH_TIMEOUT(gate.count(), 3, WaitLimitMs);
    QCOMPARE(
        gate.nanoseconds(),
        (QList<qint64>{10 * NanosecondsPerMs, 25 * NanosecondsPerMs, 1500 * NanosecondsPerMs}));
    thread.setStop(true);
    gate.open();
    QVERIFY(thread.wait(WaitLimitMs));
}

KSPROXY_TEST_MAIN(tst_MsgThreadPace)
#include "tst_MsgThreadPace.moc"
