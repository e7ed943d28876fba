#include "LogCapture.h"

#include <QMutexLocker>
#include <QStringList>

namespace {

LogCapture *current = nullptr;

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(current == nullptr);
    current = this;
    m_previous = qInstallMessageHandler(handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    current = nullptr;
}

QList<LogLine> LogCapture::lines() const
{
    const QMutexLocker locker(&m_mutex);
    return m_lines;
}

QStringList LogCapture::texts(QtMsgType level) const
{
    QStringList texts;
    const QList<LogLine> all = lines();
    for (const LogLine &line : all) {
        if (line.level == level)
            texts.append(line.text);
    }
    return texts;
}

int LogCapture::count(QtMsgType level, const QString &text) const
{
    int count = 0;
    const QList<LogLine> all = lines();
    for (const LogLine &line : all) {
        if (line.level == level && line.text == text && line.category == QLatin1String("default"))
            ++count;
    }
    return count;
}

void LogCapture::clear()
{
    const QMutexLocker locker(&m_mutex);
    m_lines.clear();
}

void LogCapture::handle(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    const QMutexLocker locker(&current->m_mutex);
    current->m_lines.append({level, QString::fromLatin1(context.category), text});
}
