#ifndef LATER_H
#define LATER_H

#include "Guarded.h"

#include <QAbstractEventDispatcher>
#include <QObject>
#include <QTimer>

/// Calls from the event loop, where memory may run out.
namespace Later {

/// Has \a function called from the event loop of \a context unless that is deleted before. False
/// when memory runs out, and then again at a second attempt.
template <typename Function>
bool call(QObject *context, const Function &function)
{
    return guardedTwice(
        [&] { QMetaObject::invokeMethod(context, function, Qt::QueuedConnection); });
}

/// Starts \a timer, of the calling thread, or throws std::bad_alloc. Not by itself: Qt may forget
/// then that the timer runs, and never stop it.
inline void start(QTimer *timer, int milliseconds)
{
    try {
        timer->start(milliseconds);
    } catch (const std::bad_alloc &) {
        if (QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance())
            dispatcher->unregisterTimers(timer);
        throw;
    }
}

} // namespace Later

#endif
