#include "KilledServer.h"

#include "RawClient.h"
#include "WireBytes.h"

#include <QDir>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
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

sockaddr_un addressOf(const QByteArray &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    return address;
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

bool writeAll(int descriptor, const char *data, qint64 size)
{
    while (size > 0) {
        const ssize_t count = send(descriptor, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (count < 0)
            return false;
        data += count;
        size -= count;
    }
    return true;
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
{
    void *const memory
        = mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        qFatal("no shared memory");
    m_account = new (memory) Account;
}

KilledServer::~KilledServer()
{
    kill();
    munmap(m_account, sizeof(Account));
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
    const int listener = listeningSocket();
    if (listener < 0)
        return false;
    m_pid = fork();
    if (m_pid == 0)
        serve(listener);
    close(listener);
    return m_pid > 0;
}

int KilledServer::listeningSocket() const
{
    const QByteArray path = (QDir::tempPath() + QLatin1String("/tarnSver")).toLocal8Bit();
    unlink(path.constData()); // of the one before
    const sockaddr_un address = addressOf(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (listener >= 0 && bind(listener, generic(&address), sizeof address) == 0
        && listen(listener, 8) == 0)
        return listener;
    close(listener);
    return -1;
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
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    constexpr int first = 3;
    dup2(listener, first);
    close_range(first + 1, ~0U, 0); // the client's ends of its connections are among them
    const sockaddr_un address = addressOf(m_serverPath);
    for (;;) {
        const int client = accept(first, nullptr, nullptr);
        const int server = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(server, generic(&address), sizeof address) == 0)
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
    const bool isWritten = writeAll(to, piece, count);
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
