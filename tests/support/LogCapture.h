#ifndef LOGCAPTURE_H
#define LOGCAPTURE_H

#include <QList>
#include <QMutex>
#include <QString>
#include <QtGlobal>

struct LogLine
{
    QtMsgType level;
    QString category;
    QString text;
};

/// Collects, from any thread, what is logged while it lives, in place of printing it. One at a
/// time.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    QList<LogLine> lines() const;
    /// The texts logged at \a level, in order.
    QStringList texts(QtMsgType level) const;
    /// How often exactly \a text was logged at \a level in the default category.
    int count(QtMsgType level, const QString &text) const;
    void clear();

private:
    Q_DISABLE_COPY_MOVE(LogCapture)

    static void handle(QtMsgType level, const QMessageLogContext &context, const QString &text);

    mutable QMutex m_mutex;
    QList<LogLine> m_lines;
    QtMessageHandler m_previous;
};

#endif
