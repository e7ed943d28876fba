#ifndef BEATLOG_H
#define BEATLOG_H

#include "MsgThread.h"

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>

/// Writes down, on the worker thread itself, what a MsgThread emits: "begin", "false" or "true"
/// for each beat, "end".
class BeatLog : public QObject
{
public:
    explicit BeatLog(MsgThread *thread)
    {
        connect(
            thread, &MsgThread::begionRunEvent, this, [this] { append(QStringLiteral("begin")); },
            Qt::DirectConnection);
        connect(
            thread, &MsgThread::doInfo, this,
            [this](bool deleteThread) {
                append(deleteThread ? QStringLiteral("true") : QStringLiteral("false"));
            },
            Qt::DirectConnection);
        connect(
            thread, &MsgThread::endRunEvent, this, [this] { append(QStringLiteral("end")); },
            Qt::DirectConnection);
    }

    void append(const QString &word)
    {
        const QMutexLocker locker(&m_mutex);
        m_words.append(word);
    }
    QStringList words() const
    {
        const QMutexLocker locker(&m_mutex);
        QStringList words = m_words;
        words.detach(); // what is read without the lock is nobody else's
        return words;
    }
    int beats() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_words.count(QStringLiteral("false"));
    }

private:
    mutable QMutex m_mutex;
    QStringList m_words;
};

#endif
