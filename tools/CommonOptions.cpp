#include "CommonOptions.h"

#include "VerbOptions.h"

#include <limits>

void CommonOptions::addTo(VerbOptions *options)
{
    const SessionOptions defaults;
    options->flag("--json", QStringLiteral("Print JSON: one object, or one a line."), &isJson);
    options->number("--timeout", "MS",
                    QStringLiteral("Limit for the start of the server, the registration and each "
                                   "request. Default %1 for the start, %2 for the others.")
                        .arg(defaults.startTimeoutMs)
                        .arg(defaults.requestTimeoutMs),
                    {1, std::numeric_limits<int>::max(), "milliseconds"}, &timeoutMs);
    options->fileName("--server", "PATH",
                      QStringLiteral("The server's program. Default the one beside the library."),
                      &serverPath);
    options->flag("--no-start", QStringLiteral("Never start a server."), &startsNoServer);
    options->flag("--quiet",
                  QStringLiteral("Print data only: no confirmation, nothing on standard error."),
                  &isQuiet);
    options->flag("--verbose", QStringLiteral("Show the session's log on standard error."),
                  &isVerbose);
}

SessionOptions CommonOptions::sessionOptions() const
{
    SessionOptions options;
    options.serverPath = serverPath;
    options.startsServer = !startsNoServer;
    options.reconnect = ReconnectPolicy::off();
    if (timeoutMs > 0) {
        options.startTimeoutMs = timeoutMs;
        options.registrationTimeoutMs = timeoutMs;
        options.requestTimeoutMs = timeoutMs;
        // A server is not silent while it may still answer in time.
        options.silenceLimitMs = qMax(options.silenceLimitMs, timeoutMs);
    }
    return options;
}
