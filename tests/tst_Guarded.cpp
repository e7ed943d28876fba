#include "Guarded.h"
#include "LogCapture.h"
#include "TestMain.h"

#include <QTest>

#include <new>
#include <stdexcept>

class tst_Guarded : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void returnsWhatTheWorkReturns();
    void returnsTheOtherValueWithoutMemory();
    void tellsWhetherTheWorkEnded();
    void passesOtherExceptions();
    void attemptsOnceMore();
    void attemptsOnceWhenThatIsEnough();
};

void tst_Guarded::returnsWhatTheWorkReturns()
{
    const LogCapture log;
    QCOMPARE(guarded([] { return 5; }, 7), 5);
    QVERIFY(log.lines().isEmpty());
}

void tst_Guarded::returnsTheOtherValueWithoutMemory()
{
    const LogCapture log;
    QCOMPARE(guarded([]() -> int { throw std::bad_alloc(); }, 7), 7);
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.count(QtCriticalMsg, QStringLiteral("out of memory")), 1);
}

void tst_Guarded::tellsWhetherTheWorkEnded()
{
    const LogCapture log;
    QVERIFY(guarded([] {}));
    QVERIFY(!guarded([] { throw std::bad_alloc(); }));
}

void tst_Guarded::passesOtherExceptions()
{
    QVERIFY_EXCEPTION_THROWN(guarded([] { throw std::runtime_error("not memory"); }),
                             std::runtime_error);
    QVERIFY_EXCEPTION_THROWN(guarded([] { throw QStringLiteral("a text"); }), QString);
}

void tst_Guarded::attemptsOnceMore()
{
    const LogCapture log;
    int attempts = 0;
    QVERIFY(guardedTwice([&] {
        if (++attempts == 1)
            throw std::bad_alloc();
    }));
    QCOMPARE(attempts, 2);
    QVERIFY(!guardedTwice([&] {
        ++attempts;
        throw std::bad_alloc();
    }));
    QCOMPARE(attempts, 4);
}

void tst_Guarded::attemptsOnceWhenThatIsEnough()
{
    int attempts = 0;
    QVERIFY(guardedTwice([&] { ++attempts; }));
    QCOMPARE(attempts, 1);
}

KSPROXY_TEST_MAIN(tst_Guarded)
#include "tst_Guarded.moc"
