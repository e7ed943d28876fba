#include "HostileServer.h"

#include "NaiveFrames.h"

#include <QDir>
#include <QFile>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace {

constexpr int Backlog = 16;

QByteArray socketPath()
{
    return QFile::encodeName(QDir::tempPath() + QLatin1String("/tarnSver"));
}

} // namespace

HostileServer::~HostileServer()
{
    stopListening();
}

void HostileServer::listen()
{
    if (isListening())
        return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, socketPath().constData(), sizeof address.sun_path);
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (bind(m_listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0
        || ::listen(m_listener, Backlog) != 0)
        qFatal("cannot listen at %s", address.sun_path);
}

void HostileServer::stopListening()
{
    if (!isListening())
        return;
    ::close(std::exchange(m_listener, -1));
    unlink(socketPath().constData());
}

bool HostileServer::isListening() const
{
    return m_listener >= 0;
}

void HostileServer::poll()
{
    int descriptor = -1;
    while (isListening()
           && (descriptor = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC))
               >= 0) {
        m_connection = RawSocket(descriptor);
        m_taken = 0;
        m_sent.clear();
    }
    if (m_connection.isOpen())
        m_connection.read();
}

void HostileServer::closeConnection()
{
    m_connection.close();
}

void HostileServer::send(const QByteArray &bytes)
{
    if (m_connection.isOpen())
        m_sent += bytes.left(m_connection.write(bytes));
}

QByteArray HostileServer::takeMessage()
{
    const NaiveFrames frames(m_connection.received().mid(m_taken));
    if (frames.payloads.isEmpty())
        return QByteArray();
    m_taken += frames.ends.constFirst();
    return frames.payloads.constFirst();
}

void HostileServer::forgetMessages()
{
    m_taken = m_connection.received().size();
    const NaiveFrames frames(m_sent);
    if (!frames.ends.isEmpty())
        m_sent.remove(0, frames.ends.constLast());
}

bool HostileServer::isBetweenMessages() const
{
    const NaiveFrames frames(m_sent);
    return m_sent.size() == (frames.ends.isEmpty() ? 0 : frames.ends.constLast());
}
