#ifndef EVENTWAIT_H
#define EVENTWAIT_H

#include "Waiting.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

/// Handles events until \a isThere, looked at after each of them: without the pauses of
/// `QTest::qWaitFor`, which add up over thousands of rounds. False when it does not come in time.
template <typename Condition>
bool waitInEvents(Condition isThere, int limitMs = WaitLimitMs)
{
    const QDeadlineTimer deadline(limitMs);
    QTimer last; // wakes the loop when nothing else does
    last.start(limitMs);
    while (!isThere()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Handles events for so long.
inline void passInEvents(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

#endif
