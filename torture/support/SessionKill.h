#ifndef SESSIONKILL_H
#define SESSIONKILL_H

#include "DeviceSession.h"
#include "KillOutcome.h"
#include "KilledServer.h"

#include <QElapsedTimer>
#include <QHash>

/// A session of reads and writes whose server dies, once.
class SessionKill : public QObject
{
    Q_OBJECT

public:
    static constexpr int Requests = 50;

    /// \a server has been started and stays the caller's.
    explicit SessionKill(KilledServer *server);
    ~SessionKill() override;

    /// Opens, makes the requests once the session is ready, and waits until the server's death is
    /// known and everything has ended.
    void run();
    /// The same against a server that nothing happens to; it is killed at the end.
    void runUndisturbed();
    /// Starts a new server and waits until the session is ready and reads from it.
    void comeBack();

    const KillOutcome &outcome() const;

private:
    void makeRequests();
    void watch(DeviceReply *reply);
    bool isOver() const;
    bool isUnreached() const;
    void judge();

    KilledServer *const m_server;
    DeviceSession m_session;
    QHash<DeviceReply *, int> m_endsOf;
    KillOutcome m_outcome;
};

#endif
