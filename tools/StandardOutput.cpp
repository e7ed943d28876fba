#include "StandardOutput.h"

#include <QJsonDocument>
#include <QSocketNotifier>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

bool hasReaderGone()
{
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

} // namespace

StandardOutput::StandardOutput()
{
    // Tells of the end of a pipe's reader, too.
    auto *const notifier = new QSocketNotifier(STDOUT_FILENO, QSocketNotifier::Exception, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        if (hasReaderGone())
            Q_EMIT closed();
    });
}

void StandardOutput::write(const QByteArray &bytes)
{
    const char *rest = bytes.constData();
    qint64 count = bytes.size();
    while (m_isUsable && count > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, rest, static_cast<size_t>(count));
        if (written >= 0) {
            rest += written;
            count -= written;
        } else if (errno != EINTR) {
            m_isUsable = false;
            if (errno == EPIPE)
                Q_EMIT closed();
            else
                Q_EMIT failed(QString::fromLocal8Bit(std::strerror(errno)));
        }
    }
}

void StandardOutput::text(const QString &text)
{
    write(text.toLocal8Bit());
}

void StandardOutput::json(const QJsonObject &object)
{
    write(jsonLine(object));
}

QByteArray StandardOutput::jsonLine(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

bool StandardOutput::isTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}
