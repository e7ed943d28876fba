#ifndef SESSIONTRAFFIC_H
#define SESSIONTRAFFIC_H

#include "DeviceSession.h"

#include <QHash>
#include <QQueue>
#include <QRandomGenerator>
#include <QTimer>

/// Reads, writes and commands through a session, as many as it sends: a window of requests is kept
/// under way while the session is ready. Keeps account of how each request ended. What is written
/// anywhere is told by the address, so that what is read can be judged.
class SessionTraffic : public QObject
{
    Q_OBJECT

public:
    /// \a timeoutMs is that of each request.
    SessionTraffic(DeviceSession *session, const QString &key, int timeoutMs, quint32 seed);
    ~SessionTraffic() override;

    void start();
    /// Makes no more requests; those under way go on.
    void stop();
    /// Requests that have not ended yet.
    int underWay() const;

    qint64 requests() const;
    qint64 commands() const;
    qint64 broadcasts() const;
    qint64 tableChanges() const;
    /// Requests that ended so.
    qint64 ends(SessionError::Code code) const;
    /// Requests that ended a second time.
    qint64 endedTwice() const;
    /// Requests that ended long after their time-out.
    qint64 late() const;
    /// Reads that brought what was never written there.
    qint64 wrong() const;
    /// From the call to the data, of those that went well.
    qint64 medianMs() const;
    qint64 slowestMs() const;

private:
    void fill();
    void makeRequest();
    void makeCommand();
    void watch(DeviceReply *reply, int readLength);
    void end(DeviceReply *reply, int readLength);
    DeviceSession *const m_session;
    const QString m_key;
    const int m_timeoutMs;
    QRandomGenerator m_random;
    QTimer m_timer;
    QHash<DeviceReply *, int> m_endsOf; // of those that still stand
    QQueue<DeviceReply *> m_ended;
    QHash<int, qint64> m_byCode;
    QHash<qint64, qint64> m_byMs;
    int m_underWay = 0;
    qint64 m_requests = 0;
    qint64 m_commands = 0;
    qint64 m_broadcasts = 0;
    qint64 m_tableChanges = 0;
    qint64 m_endedTwice = 0;
    qint64 m_late = 0;
    qint64 m_wrong = 0;
};

#endif
