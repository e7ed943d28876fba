#ifndef GUARDED_H
#define GUARDED_H

#include "Log.h"

#include <new>

// What stands at each border of the library: std::bad_alloc that its own work meets ends there, and
// the operation fails in the way of its kind. Other exceptions pass, and an application's
// completion handler is never called inside.

/// What \a work returns, or \a otherwise when memory runs out, with a critical line in the log.
template <typename Work, typename Result>
Result guarded(Work &&work, Result otherwise)
{
    try {
        return work();
    } catch (const std::bad_alloc &) {
        Log::critical("out of memory");
        return otherwise;
    }
}

/// Whether \a work has come to its end.
template <typename Work>
bool guarded(Work &&work)
{
    return guarded(
        [&work] {
            work();
            return true;
        },
        false);
}

/// The same with a second attempt, for what could not be asked for again. Each attempt must take up
/// where the one before has ended.
template <typename Work>
bool guardedTwice(Work &&work)
{
    return guarded(work) || guarded(work);
}

#endif
