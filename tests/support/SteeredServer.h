#ifndef STEEREDSERVER_H
#define STEEREDSERVER_H

#include "ControlClient.h"
#include "ServerProcess.h"

/// The real server program with a control channel, and a connection to it.
struct SteeredServer
{
    ServerProcess process;
    ControlClient control;

    /// Starts it and waits until it can be steered.
    bool start(const QStringList &arguments = QStringList());
    /// Ends it; whether it ended well.
    bool end();
    /// Writes a file into the test's folder and gives its path.
    static QString written(const QString &name, const QByteArray &content);
};

#endif
