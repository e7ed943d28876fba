#include "ServerSocket.h"

#include "ServerLog.h"

#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int AcceptPauseMs = 100;

sockaddr_un addressOf(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
    return address;
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

// 0 when there is no such file.
quint64 inodeOf(const QString &path)
{
    struct stat status
    {
    };
    return lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_ino : 0;
}

QString reason(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

ServerSocket::ServerSocket(const QString &name)
    : m_path(name.startsWith(QLatin1Char('/')) ? name : QDir::tempPath() + QLatin1Char('/') + name)
    , m_lock(m_path + QLatin1String(".lock"))
{
    m_lock.setStaleLockTime(0); // a lock is stale when its process is gone, however old it is
}

ServerSocket::~ServerSocket()
{
    if (m_descriptor < 0)
        return;
    delete m_notifier;
    if (inodeOf(m_path) == m_inode) // unless somebody has put another one in its place
        QFile::remove(m_path);
    close(m_descriptor);
}

ServerSocket::Outcome ServerSocket::listen()
{
    if (QFile::encodeName(m_path).size() >= static_cast<int>(sizeof(sockaddr_un::sun_path))) {
        m_error = QStringLiteral("%1 is too long for a local socket").arg(m_path);
        return Outcome::Failed;
    }
    if (!lock())
        return m_lock.error() == QLockFile::LockFailedError ? Outcome::Occupied : Outcome::Failed;
    // Also a server that keeps no lock is not displaced.
    const Outcome way = clearTheWay();
    if (way != Outcome::Listening)
        return way;
    if (!bindAndListen())
        return Outcome::Failed;
    m_notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &ServerSocket::accept);
    return Outcome::Listening;
}

QString ServerSocket::path() const
{
    return m_path;
}

QString ServerSocket::error() const
{
    return m_error;
}

bool ServerSocket::lock()
{
    if (m_lock.tryLock())
        return true;
    qint64 pid = 0;
    QString host;
    QString program;
    if (m_lock.error() != QLockFile::LockFailedError)
        m_error = QStringLiteral("cannot make the lock file %1.lock").arg(m_path);
    else if (m_lock.getLockInfo(&pid, &host, &program))
        m_error = QStringLiteral("%1 is served already, by process %2 (%3)")
                      .arg(m_path)
                      .arg(pid)
                      .arg(program);
    // One that names nobody is left by a machine that went down. A process that is about to write
    // its name holds on to it, and then it cannot be removed.
    else if (m_lock.removeStaleLockFile() && m_lock.tryLock())
        return true;
    else
        m_error = QStringLiteral("%1 is served already").arg(m_path);
    return false;
}

// What stands in the socket's place is only ever replaced when it is a socket that nobody listens
// to.
ServerSocket::Outcome ServerSocket::clearTheWay()
{
    const sockaddr_un address = addressOf(m_path);
    struct stat status
    {
    };
    if (lstat(address.sun_path, &status) != 0)
        return Outcome::Listening;
    if (!S_ISSOCK(status.st_mode)) {
        m_error = QStringLiteral("%1 is there and is not a socket").arg(m_path);
        return Outcome::Failed;
    }
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isServed = ::connect(probe, generic(&address), sizeof address) == 0;
    const int error = errno;
    ucred peer{};
    socklen_t size = sizeof peer;
    m_error = isServed && getsockopt(probe, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
        ? QStringLiteral("%1 is served already, by process %2").arg(m_path).arg(peer.pid)
        : QStringLiteral("%1 is served already").arg(m_path);
    close(probe);
    // Anything but a refusal, such as a full queue, says that somebody is there.
    if (isServed || error != ECONNREFUSED)
        return Outcome::Occupied;
    unlink(address.sun_path);
    return Outcome::Listening;
}

bool ServerSocket::bindAndListen()
{
    const sockaddr_un address = addressOf(m_path);
    m_descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const mode_t previous = umask(S_IRWXG | S_IRWXO); // the file never exists with more access
    const bool isBound = bind(m_descriptor, generic(&address), sizeof address) == 0;
    const int bindError = errno;
    umask(previous);
    m_inode = inodeOf(m_path);
    if (isBound && ::listen(m_descriptor, SOMAXCONN) == 0)
        return true;
    m_error = QStringLiteral("cannot listen on %1: %2")
                  .arg(m_path, reason(isBound ? errno : bindError));
    close(m_descriptor);
    m_descriptor = -1;
    return false;
}

void ServerSocket::accept()
{
    const int client = accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client >= 0) {
        m_hasToldOfWaiting = false;
        Q_EMIT connected(client);
        return;
    }
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
        pauseAccepting();
}

// The client stays in the queue, which would announce it again at once and forever.
void ServerSocket::pauseAccepting()
{
    if (!m_hasToldOfWaiting)
        ServerLog::line(QStringLiteral("a client has to wait: %1").arg(reason(errno)));
    m_hasToldOfWaiting = true;
    m_notifier->setEnabled(false);
    QTimer::singleShot(AcceptPauseMs, this, [this] { m_notifier->setEnabled(true); });
}
