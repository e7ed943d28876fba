#ifndef KSPROXYTOOLS_H
#define KSPROXYTOOLS_H

#include "ksproxyclient_export.h"

#include <QString>

/// Handling of the device-server process. All operations may be called from any thread and throw
/// nothing. They log nothing but "out of memory" when that makes them fail.
class KSPROXYCLIENT_EXPORT KsProxyTools
{
public:
    /// Starts the executable at \a path as a process that outlives the call and the application.
    ///
    /// \a path is one file name: it is not split at blanks and not searched for in `PATH`. The
    /// process is in a session of its own, has the null device as its three standard streams and
    /// no other descriptor of the application. Blocks until the executable is running or has
    /// failed to, a few milliseconds; does not wait for the server to be ready. False when the
    /// executable cannot be run.
    static bool startProcess(const QString &path);

    /// Whether a process with exactly the name \a name runs on the machine. Stores its process id
    /// in \a pid, which is left alone otherwise. Reads `/proc` and starts nothing; a process that
    /// has ended and only waits to be collected does not count.
    static bool checkProcessRunning(const QString &name, unsigned long long &pid);

    /// Where this installation has the server: `bin/KVTServerMaster` beside the folder that holds
    /// the loaded libksproxyclient, or one folder higher where it is only there (libraries in
    /// lib/ARCHITECTURE); so the tree can be moved. The file need not exist.
    static QString getDefaultServerPath();
};

#endif
