#include "StandardOutput.h"

#include "TerminationSignals.h"

#include <QJsonDocument>
#include <QSocketNotifier>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

namespace {

bool hasReaderGone()
{
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

} // namespace

StandardOutput::StandardOutput(const TerminationSignals &signals)
    : m_signals(signals.descriptor())
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
        m_isUsable = waitForRoom();
        if (!m_isUsable) {
            Q_EMIT interrupted();
            return;
        }
        // A pipe that has room takes that much without waiting.
        const auto portion = static_cast<size_t>(qMin<qint64>(count, PIPE_BUF));
        const ssize_t written = ::write(STDOUT_FILENO, rest, portion);
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

// False when a signal comes first.
bool StandardOutput::waitForRoom() const
{
    std::array<pollfd, 2> waiting{{{STDOUT_FILENO, POLLOUT, 0}, {m_signals, POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) { }
    return waiting[0].revents != 0 || waiting[1].revents == 0;
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
