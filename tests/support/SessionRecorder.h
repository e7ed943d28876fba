#ifndef SESSIONRECORDER_H
#define SESSIONRECORDER_H

#include "DeviceSession.h"

#include <QStringList>

/// Everything that a session signals, in order, as texts.
class SessionRecorder : public QObject
{
    Q_OBJECT

public:
    explicit SessionRecorder(DeviceSession *session);

    QStringList all() const;
    /// The names of the states only.
    QStringList states() const;
    int count(const QString &text) const;
    void clear();

private:
    void add(const QString &text);

    QStringList m_all;
};

#endif
