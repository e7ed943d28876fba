#ifndef EVENTWAITING_H
#define EVENTWAITING_H

#include "Waiting.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

/// Waits with an event loop that runs as an application's does: those of QTest sleep between two
/// rounds.
namespace EventWaiting {

inline void pass(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Whether \a condition holds in time; it is asked every 5 ms.
template <typename Condition>
[[nodiscard]] bool until(const Condition &condition, int limitMs = WaitLimitMs)
{
    constexpr int pollMs = 5;
    const QDeadlineTimer deadline(limitMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        pass(pollMs);
    }
    return true;
}

} // namespace EventWaiting

#endif
