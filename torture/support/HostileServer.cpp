#include "HostileServer.h"

#include "PlainSocket.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char ReadData = 7;
constexpr char ReplyReadData = 11;
constexpr int LengthBytes = 4;
constexpr char Confirmation[] = "\x0e\0\0\0\0A/1/1/x/1,1.0";
constexpr char Outcome[] = ";commResult=0;dataLength=1;data=AA==";
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 NsPerSecond = 1000 * NsPerMs;

qint64 nowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * NsPerSecond + now.tv_nsec;
}

quint32 lengthAt(const char *data)
{
    quint32 length = 0;
    for (int i = LengthBytes - 1; i >= 0; --i)
        length = length << 8 | static_cast<quint8>(data[i]);
    return length;
}

void setLength(char *data, quint32 length)
{
    for (int i = 0; i < LengthBytes; ++i, length >>= 8)
        data[i] = static_cast<char>(length & 0xFF);
}

bool hasInput(int descriptor, bool waits)
{
    pollfd end{descriptor, POLLIN, 0};
    return poll(&end, 1, waits ? -1 : 0) > 0;
}

} // namespace

struct HostileServer::Account
{
    std::atomic<qint64> blocks{0};
    std::atomic<qint64> bytes{0};
};

HostileServer::HostileServer() = default;

HostileServer::~HostileServer()
{
    kill();
}

bool HostileServer::startDeaf()
{
    m_isDeaf = true;
    return start();
}

bool HostileServer::startFlooding(const Flood &flood, int ms)
{
    m_isDeaf = false;
    m_flood = flood;
    m_endNs = nowNs() + ms * NsPerMs;
    return start();
}

bool HostileServer::start()
{
    kill();
    m_account->blocks = 0;
    m_account->bytes = 0;
    const int listener = PlainSocket::listenAsServer();
    if (listener < 0)
        return false;
    m_pid = fork();
    if (m_pid == 0)
        serve(listener);
    close(listener);
    return m_pid > 0;
}

void HostileServer::kill()
{
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_pid = 0;
}

qint64 HostileServer::messages() const
{
    return m_account->blocks * m_flood.messagesPerBlock;
}

qint64 HostileServer::bytes() const
{
    return m_account->bytes;
}

// From here on everything happens in processes that were forked off one with several threads: only
// what is safe in a signal handler is called.

void HostileServer::serve(int listener)
{
    listener = PlainSocket::keepOnly(listener);
    signal(SIGCHLD, SIG_IGN);
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (fork() == 0)
            serveClient(PlainSocket::keepOnly(client));
        close(client);
    }
}

void HostileServer::serveClient(int client)
{
    if (!confirm(client))
        _exit(0);
    while (m_isDeaf)
        pause();
    flood(client);
    while (answerRequests(client, true)) { }
    _exit(0);
}

bool HostileServer::confirm(int client)
{
    char registration[LengthBytes + 1];
    return recv(client, registration, sizeof registration, MSG_WAITALL) == sizeof registration
        && PlainSocket::writeAll(client, Confirmation, sizeof Confirmation - 1);
}

void HostileServer::flood(int client)
{
    const qint64 beginNs = nowNs();
    qint64 sent = 0;
    if (beginNs < m_endNs)
        PlainSocket::writeAll(client, m_flood.prelude.constData(), m_flood.prelude.size());
    while (nowNs() < m_endNs) {
        const qint64 dueNs = m_flood.bytesPerSecond == 0
            ? 0
            : beginNs + sent * NsPerSecond / m_flood.bytesPerSecond;
        if (dueNs > nowNs()) {
            usleep(1000);
            continue;
        }
        if (!PlainSocket::writeAll(client, m_flood.block.constData(), m_flood.block.size()))
            _exit(0);
        sent += m_flood.block.size();
        ++m_account->blocks;
        m_account->bytes += m_flood.block.size();
        if (!answerRequests(client, false))
            _exit(0);
    }
}

// False when the client has gone.
bool HostileServer::answerRequests(int client, bool waits)
{
    if (!hasInput(client, waits))
        return true;
    const ssize_t count = read(client, m_received + m_receivedBytes,
                               sizeof m_received - static_cast<size_t>(m_receivedBytes));
    if (count <= 0)
        return false;
    m_receivedBytes += static_cast<int>(count);
    int position = 0;
    while (m_receivedBytes - position >= LengthBytes) {
        const auto size = static_cast<int>(lengthAt(m_received + position));
        if (m_receivedBytes - position - LengthBytes < size)
            break;
        if (!answer(client, m_received + position + LengthBytes, size))
            return false;
        position += LengthBytes + size;
    }
    m_receivedBytes -= position;
    std::memmove(m_received, m_received + position, static_cast<size_t>(m_receivedBytes));
    return true;
}

// With the request's own text, whose fields a reply may have too.
bool HostileServer::answer(int client, const char *body, int size)
{
    char reply[4096];
    constexpr int outcomeBytes = sizeof Outcome - 1;
    if (size < 1 || body[0] != ReadData || LengthBytes + size + outcomeBytes > int(sizeof reply))
        return true;
    setLength(reply, static_cast<quint32>(size + outcomeBytes));
    std::memcpy(reply + LengthBytes, body, static_cast<size_t>(size));
    reply[LengthBytes] = ReplyReadData;
    std::memcpy(reply + LengthBytes + size, Outcome, outcomeBytes);
    return PlainSocket::writeAll(client, reply, LengthBytes + size + outcomeBytes);
}
