#ifndef HOSTILESERVER_H
#define HOSTILESERVER_H

#include "ForkShared.h"

#include <QByteArray>

#include <sys/types.h>

/// A server that does its clients no good, as a process of its own at the socket "tarnSver" of the
/// temporary folder. It confirms a registration, then either never reads again or floods its
/// client; while it floods, and afterwards, it answers each read request with one byte.
class HostileServer
{
public:
    struct Flood
    {
        QByteArray prelude; ///< sent once
        QByteArray block; ///< whole messages, sent again and again
        int messagesPerBlock = 0;
        qint64 bytesPerSecond = 0; ///< at most; 0 for as fast as they are taken
    };

    HostileServer();
    ~HostileServer();

    /// Takes connections when it returns; false when that cannot be.
    bool startDeaf();
    /// Floods for \a ms from now on, however many connections there are.
    bool startFlooding(const Flood &flood, int ms);
    void kill();

    /// Messages of the flood that were taken, over all connections.
    qint64 messages() const;
    qint64 bytes() const;

private:
    struct Account;
    Q_DISABLE_COPY_MOVE(HostileServer)

    bool start();
    [[noreturn]] void serve(int listener);
    [[noreturn]] void serveClient(int client);
    void flood(int client);
    bool confirm(int client);
    bool answerRequests(int client, bool waits);
    bool answer(int client, const char *body, int size);

    const ForkShared<Account> m_account;
    Flood m_flood;
    bool m_isDeaf = false;
    qint64 m_endNs = 0;
    pid_t m_pid = 0;
    // Of the process that serves one client: requests that have not arrived as a whole.
    char m_received[1 << 16] = {};
    int m_receivedBytes = 0;
};

#endif
