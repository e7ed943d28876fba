#include "RawSocket.h"

#include <utility>

#include <sys/socket.h>
#include <unistd.h>

RawSocket::RawSocket(int descriptor)
    : m_descriptor(descriptor)
{ }

RawSocket::~RawSocket()
{
    close();
}

RawSocket::RawSocket(RawSocket &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
    , m_received(std::move(other.m_received))
{ }

RawSocket &RawSocket::operator=(RawSocket &&other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    m_received.swap(other.m_received);
    return *this;
}

bool RawSocket::isOpen() const
{
    return m_descriptor >= 0;
}

void RawSocket::close()
{
    if (isOpen())
        ::close(std::exchange(m_descriptor, -1));
}

int RawSocket::write(const QByteArray &bytes)
{
    const ssize_t written = send(m_descriptor, bytes.constData(), static_cast<size_t>(bytes.size()),
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
    return written < 0 ? 0 : static_cast<int>(written);
}

void RawSocket::read()
{
    char buffer[16384];
    ssize_t count = 0;
    while ((count = recv(m_descriptor, buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
        m_received.append(buffer, static_cast<int>(count));
}

const QByteArray &RawSocket::received() const
{
    return m_received;
}
