#include "BeatLog.h"
#include "MsgThread.h"
#include "SleepGate.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QMetaMethod>
#include <QSemaphore>
#include <QTest>

#include <atomic>
#include <cstring>
#include <limits>

namespace {

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

class tst_MsgThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsMetaObjectInOrder();
    void liesInMemoryInOrder();
    void doesNothingUntilStarted();
    void keepsWhatIsSet_data();
    void keepsWhatIsSet();
    void alwaysSaysFalse();
    void beatsOnItsOwnThread();
    void queuesBeatsForASlowReceiver();
    void beginsAndEndsOncePerRun();
    void onlyBeginsAndEndsWhenStoppedBefore();
    void servesEventsOfObjectsThatLiveInIt();
};

void tst_MsgThread::hasItsMetaObjectInOrder()
{
    const QMetaObject &meta = MsgThread::staticMetaObject;
    QCOMPARE(meta.className(), "MsgThread");
    QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
    const QList<QByteArray> signatures{"doInfo(bool)", "begionRunEvent()", "endRunEvent()"};
    QCOMPARE(meta.methodCount() - meta.methodOffset(), signatures.size());
    for (int i = 0; i < signatures.size(); ++i) {
        const QMetaMethod method = meta.method(meta.methodOffset() + i);
        QCOMPARE(method.methodSignature(), signatures.at(i));
        QCOMPARE(method.methodType(), QMetaMethod::Signal);
    }
    QCOMPARE(meta.method(meta.methodOffset()).parameterNames(), QList<QByteArray>{"deleteThread"});
    QCOMPARE(meta.propertyCount(), QThread::staticMetaObject.propertyCount());
}

void tst_MsgThread::liesInMemoryInOrder()
{
    QCOMPARE(sizeof(MsgThread), sizeof(PlainThread));
    MsgThread thread(0x01020304, nullptr);
    thread.setStop(true);
    const PlainThread plain{};
    const auto *const begin = reinterpret_cast<const char *>(&plain);
    const auto *const actual = reinterpret_cast<const char *>(&thread);
    bool stop = false;
    std::memcpy(&stop, actual + (reinterpret_cast<const char *>(&plain.stop) - begin), sizeof stop);
    QVERIFY(stop);
    qint32 interval = 0;
    std::memcpy(&interval, actual + (reinterpret_cast<const char *>(&plain.interval) - begin),
                sizeof interval);
    QCOMPARE(interval, 0x01020304);
    const void *runner = &thread;
    std::memcpy(&runner, actual + (reinterpret_cast<const char *>(&plain.runner) - begin),
                sizeof runner);
    QCOMPARE(runner, static_cast<const void *>(nullptr));
}

void tst_MsgThread::doesNothingUntilStarted()
{
    MsgThread thread(10, nullptr);
    const BeatLog log(&thread);
    QVERIFY(!thread.stop());
    QVERIFY(!thread.isRunning());
    QVERIFY(!thread.isFinished());
    QCOMPARE(thread.parent(), static_cast<QObject *>(nullptr));
    QCOMPARE(thread.thread(), QThread::currentThread());
    QVERIFY(log.words().isEmpty());
}

void tst_MsgThread::keepsWhatIsSet_data()
{
    QTest::addColumn<int>("interval");
    QTest::newRow("zero") << 0;
    QTest::newRow("ten") << 10;
    QTest::newRow("negative") << -1;
    QTest::newRow("largest") << std::numeric_limits<int>::max();
    QTest::newRow("smallest") << std::numeric_limits<int>::min();
}

void tst_MsgThread::keepsWhatIsSet()
{
    QFETCH(int, interval);
    MsgThread thread(interval, nullptr);
    QCOMPARE(thread.interval(), interval);
    thread.setInterval(77);
    QCOMPARE(thread.interval(), 77);
    thread.setInterval(interval);
    QCOMPARE(thread.interval(), interval);
    thread.setStop(true);
    QVERIFY(thread.stop());
    thread.setStop(false);
    QVERIFY(!thread.stop());
}

void tst_MsgThread::alwaysSaysFalse()
{
    MsgThread thread(0, nullptr);
    const BeatLog log(&thread);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(log.beats() >= 100, WaitLimitMs);
    QVERIFY(stopAndWait(&thread));
    QVERIFY(!log.words().contains(QStringLiteral("true")));
}

void tst_MsgThread::beatsOnItsOwnThread()
{
    MsgThread thread(0, nullptr);
    std::atomic<QThread *> begun{nullptr};
    std::atomic<QThread *> beating{nullptr};
    std::atomic<QThread *> ended{nullptr};
    connect(
        &thread, &MsgThread::begionRunEvent, this, [&] { begun = QThread::currentThread(); },
        Qt::DirectConnection);
    connect(
        &thread, &MsgThread::doInfo, this, [&] { beating = QThread::currentThread(); },
        Qt::DirectConnection);
    connect(
        &thread, &MsgThread::endRunEvent, this, [&] { ended = QThread::currentThread(); },
        Qt::DirectConnection);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(beating.load() != nullptr, WaitLimitMs);
    QVERIFY(stopAndWait(&thread));
    QCOMPARE(begun.load(), &thread);
    QCOMPARE(beating.load(), &thread);
    QCOMPARE(ended.load(), &thread);
}

void tst_MsgThread::queuesBeatsForASlowReceiver()
{
    MsgThread thread(0, nullptr);
    int received = 0;
    QSemaphore emitted;
    connect(
        &thread, &MsgThread::doInfo, this, [&] { ++received; }, Qt::QueuedConnection);
    connect(
        &thread, &MsgThread::doInfo, this, [&] { emitted.release(); }, Qt::DirectConnection);
    thread.start();
    QVERIFY(emitted.tryAcquire(50, WaitLimitMs));
    QVERIFY(stopAndWait(&thread));
    const int beats = 50 + emitted.available();
    QCOMPARE(received, 0);
    QCoreApplication::sendPostedEvents(this);
    QCOMPARE(received, beats);
}

void tst_MsgThread::beginsAndEndsOncePerRun()
{
    MsgThread thread(0, nullptr);
    const BeatLog log(&thread);
    for (int run = 1; run <= 2; ++run) {
        const int beatsBefore = log.beats();
        thread.setStop(false);
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(log.beats() >= beatsBefore + 3, WaitLimitMs);
        QVERIFY(stopAndWait(&thread));
        QVERIFY(thread.isFinished());
        QCOMPARE(log.words().count(QStringLiteral("begin")), run);
        QCOMPARE(log.words().count(QStringLiteral("end")), run);
        QCOMPARE(log.words().last(), QStringLiteral("end"));
    }
    QCOMPARE(log.words().first(), QStringLiteral("begin"));
    const int firstEnd = log.words().indexOf(QStringLiteral("end"));
    QCOMPARE(log.words().at(firstEnd + 1), QStringLiteral("begin"));
}

void tst_MsgThread::onlyBeginsAndEndsWhenStoppedBefore()
{
    const SleepGate gate(SleepGate::Open);
    MsgThread thread(10, nullptr);
    const BeatLog log(&thread);
    thread.setStop(true);
    thread.start();
    QVERIFY(thread.wait(WaitLimitMs));
    QCOMPARE(log.words(), (QStringList{QStringLiteral("begin"), QStringLiteral("end")}));
    QCOMPARE(gate.count(), 0);
}

void tst_MsgThread::servesEventsOfObjectsThatLiveInIt()
{
    MsgThread thread(0, nullptr);
    EventReceiver receiver;
    receiver.moveToThread(&thread);
    thread.start();
    for (int i = 1; i <= 5; ++i) {
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
        QTRY_COMPARE_WITH_TIMEOUT(receiver.events.load(), i, WaitLimitMs);
        QCOMPARE(receiver.thread.load(), &thread);
    }
    QVERIFY(stopAndWait(&thread));
}

KSPROXY_TEST_MAIN(tst_MsgThread)
#include "tst_MsgThread.moc"
