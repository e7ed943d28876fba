#ifndef SESSIONOPTIONS_H
#define SESSIONOPTIONS_H

#include "ksproxysession_export.h"

#include <QString>

/// How a session comes back when its server has gone: after a first delay, then after growing ones
/// up to the longest, until it is closed.
struct KSPROXYSESSION_EXPORT ReconnectPolicy
{
    /// The session stays `Lost`.
    static ReconnectPolicy off();
    /// Whether it is `off()`.
    bool isOff() const;

    int firstDelayMs = 50; ///< 0 for off, else at least 10
    int longestDelayMs = 500; ///< at least the first
};

/// What `DeviceSession::open` is told.
struct KSPROXYSESSION_EXPORT SessionOptions
{
    /// Empty when all is well, else a sentence that names what is wrong.
    QString problem() const;

    QString serverPath; ///< the server's program; empty for the one beside the library
    bool startsServer = true; ///< when no server takes connections and no server process runs
    int startTimeoutMs = 10000; ///< until the server takes connections
    int registrationTimeoutMs = 5000; ///< from then until it has confirmed
    int requestTimeoutMs = 5000; ///< of requests that name no other
    /// A server that has not answered anything for so long counts as lost, 0 for never. It must be
    /// longer than the equipment's slowest operation. It may take half as long again until that is
    /// noticed.
    int silenceLimitMs = 60000;
    ReconnectPolicy reconnect; ///< how it comes back when the server has gone
};

#endif
