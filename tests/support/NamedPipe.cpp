#include "NamedPipe.h"

#include "TestMain.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

NamedPipe::NamedPipe()
    : m_fileName(testFolder() + QLatin1String("/pipe"))
{
    const QByteArray path = QFile::encodeName(m_fileName);
    if (mkfifo(path.constData(), 0600) != 0)
        qFatal("no pipe can be made");
    m_reader = open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

NamedPipe::~NamedPipe()
{
    closeReader();
    QFile::remove(m_fileName);
}

QString NamedPipe::fileName() const
{
    return m_fileName;
}

bool NamedPipe::isFilled() const
{
    pollfd reader{m_reader, POLLIN, 0};
    return poll(&reader, 1, 0) == 1 && (reader.revents & POLLIN) != 0;
}

void NamedPipe::closeReader()
{
    if (m_reader >= 0)
        close(m_reader);
    m_reader = -1;
}
