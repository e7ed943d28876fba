#ifndef KILLEDSERVER_H
#define KILLEDSERVER_H

#include "ForkShared.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <sys/types.h>

/// A server that is killed by SIGKILL as soon as a certain byte has passed: a process of its own at
/// the socket "tarnSver" of the temporary folder, which hands everything on to and from the
/// simulated server behind it. To its clients it is the server.
class KilledServer
{
public:
    enum class Direction { ToServer, ToClient };

    /// \a serverPath is the socket of the simulated server.
    explicit KilledServer(const QString &serverPath);
    ~KilledServer();

    /// Takes connections when it returns. It dies when \a bytes have come from its clients or left
    /// for them, over all connections; without a limit when \a bytes is 0. False when that cannot
    /// be.
    bool start(Direction direction, qint64 bytes);
    bool start();
    void kill();
    bool isRunning();

    qint64 passed(Direction direction) const;
    /// Nanoseconds from its death to now, on the monotonic clock.
    qint64 sinceDeathNs() const;
    /// The serial numbers of the replies that have left for its clients as whole frames.
    QSet<quint64> answered() const;

private:
    struct Account;
    Q_DISABLE_COPY_MOVE(KilledServer)

    [[noreturn]] void serve(int listener);
    void passOn(int client, int server);
    qint64 room(Direction direction) const;
    bool pass(int from, int to, Direction direction);
    [[noreturn]] void die();

    const QByteArray m_serverPath;
    const ForkShared<Account> m_account;
    Direction m_direction = Direction::ToServer;
    qint64 m_limit = 0;
    pid_t m_pid = 0;
};

#endif
