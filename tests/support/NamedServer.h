#ifndef NAMEDSERVER_H
#define NAMEDSERVER_H

/// The device server as the library finds it: by its process name. No other may run on this machine
/// while a test uses these.
class NamedServer
{
public:
    static bool isRunning();
    /// Sends \a signal to it.
    static void sendSignal(int signal);
    /// Ends it and waits until it has gone; false when it does not go.
    static bool stop();
};

#endif
