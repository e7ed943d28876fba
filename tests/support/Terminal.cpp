#include "Terminal.h"

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <array>

Terminal::Terminal()
{
    if (openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) != 0)
        qFatal("no terminal can be made");
    fcntl(m_master, F_SETFL, O_NONBLOCK);
    fcntl(m_master, F_SETFD, FD_CLOEXEC);
    fcntl(m_slave, F_SETFD, FD_CLOEXEC);
}

Terminal::~Terminal()
{
    close(m_master);
    close(m_slave);
}

QString Terminal::fileName() const
{
    return QString::fromLocal8Bit(ttyname(m_slave));
}

QByteArray Terminal::output()
{
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(m_master, buffer.data(), buffer.size())) > 0)
        m_output.append(buffer.data(), static_cast<int>(count));
    return m_output;
}
