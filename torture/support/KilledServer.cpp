#include "KilledServer.h"

#include "PlainSocket.h"
#include "RawClient.h"
#include "WireBytes.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int KeptBytes = 1 << 17; // of what leaves for the clients
constexpr int PieceBytes = 4096;

qint64 nowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

struct KilledServer::Account
{
    std::atomic<qint64> toServer{0};
    std::atomic<qint64> toClient{0};
    std::atomic<qint64> deathNs{0};
    char sent[KeptBytes];
};

KilledServer::KilledServer(const QString &serverPath)
    : m_serverPath(serverPath.toLocal8Bit())
{ }

KilledServer::~KilledServer()
{
    kill();
}

bool KilledServer::start()
{
    return start(Direction::ToServer, 0);
}

bool KilledServer::start(Direction direction, qint64 bytes)
{
    kill();
    m_direction = direction;
    m_limit = bytes;
    m_account->toServer = 0;
    m_account->toClient = 0;
    m_account->deathNs = 0;
    const int listener = PlainSocket::listenAsServer();
    if (listener < 0)
        return false;
    m_pid = fork();
    if (m_pid == 0)
        serve(listener);
    close(listener);
    return m_pid > 0;
}

void KilledServer::kill()
{
    if (m_pid <= 0)
        return;
    if (m_account->deathNs == 0)
        m_account->deathNs = nowNs();
    ::kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_pid = 0;
}

bool KilledServer::isRunning()
{
    if (m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        m_pid = 0;
    return m_pid > 0;
}

qint64 KilledServer::passed(Direction direction) const
{
    return direction == Direction::ToServer ? m_account->toServer : m_account->toClient;
}

qint64 KilledServer::sinceDeathNs() const
{
    return nowNs() - m_account->deathNs;
}

QSet<quint64> KilledServer::answered() const
{
    constexpr char firstReply = 11;
    constexpr char lastReply = 16;
    const int size = static_cast<int>(qMin<qint64>(m_account->toClient, KeptBytes));
    QSet<quint64> serialNumbers;
    const QList<QByteArray> bodies = WireBytes::payloads(QByteArray(m_account->sent, size));
    for (const QByteArray &body : bodies) {
        if (!body.isEmpty() && body.at(0) >= firstReply && body.at(0) <= lastReply)
            serialNumbers.insert(fieldsOf(body.mid(1)).value("serialNum").toULongLong());
    }
    return serialNumbers;
}

// From here on everything happens in a process that was forked off one with several threads: only
// what is safe in a signal handler is called.

void KilledServer::serve(int listener)
{
    listener = PlainSocket::keepOnly(listener);
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        const int server = PlainSocket::connectTo(m_serverPath.constData());
        if (server >= 0)
            passOn(client, server);
        close(client);
        close(server);
    }
}

void KilledServer::passOn(int client, int server)
{
    for (;;) {
        pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(ends, 2, -1) < 0 && errno != EINTR)
            return;
        if (ends[0].revents != 0 && !pass(client, server, Direction::ToServer))
            return;
        if (ends[1].revents != 0 && !pass(server, client, Direction::ToClient))
            return;
    }
}

qint64 KilledServer::room(Direction direction) const
{
    if (m_limit == 0 || direction != m_direction)
        return PieceBytes;
    return qMin<qint64>(PieceBytes, m_limit - passed(direction));
}

bool KilledServer::pass(int from, int to, Direction direction)
{
    char piece[PieceBytes];
    const qint64 count = read(from, piece, static_cast<size_t>(room(direction)));
    if (count <= 0)
        return false;
    std::atomic<qint64> &passedBytes
        = direction == Direction::ToServer ? m_account->toServer : m_account->toClient;
    const bool isLast = m_limit > 0 && direction == m_direction && passedBytes + count >= m_limit;
    if (direction == Direction::ToClient && passedBytes + count <= KeptBytes)
        std::memcpy(m_account->sent + passedBytes, piece, static_cast<size_t>(count));
    const bool isWritten = PlainSocket::writeAll(to, piece, count);
    passedBytes += count;
    if (isLast)
        die();
    return isWritten;
}

void KilledServer::die()
{
    m_account->deathNs = nowNs();
    raise(SIGKILL);
    _exit(1);
}
