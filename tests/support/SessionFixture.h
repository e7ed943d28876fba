#ifndef SESSIONFIXTURE_H
#define SESSIONFIXTURE_H

#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "ServerProcess.h"
#include "SessionRecorder.h"
#include "Waiting.h"

#include <QScopedPointer>
#include <QTest>

/// A session with its recorder and the real server as a process, for one test.
struct SessionFixture
{
    /// Options that start no server, since a test starts its own.
    static SessionOptions options();

    /// Starts the server and brings the session to `Ready`; false when either does not come.
    bool open(const QStringList &serverArguments = QStringList(),
              const SessionOptions &sessionOptions = options());
    bool waitFor(DeviceSession::State state) const;

    ServerProcess server;
    DeviceSession session;
    SessionRecorder recorder{&session};
};

/// Whether it is finished, or is so in time.
bool waitForEnd(const DeviceReply &reply);
bool waitForEnd(const DeviceTransfer &transfer);

#endif
