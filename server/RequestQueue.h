#ifndef REQUESTQUEUE_H
#define REQUESTQUEUE_H

#include "DeviceRequest.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

/// The requests of one client that wait until the simulated equipment gets to them.
class RequestQueue : public QObject
{
    Q_OBJECT

public:
    using Request = std::shared_ptr<DeviceRequest>;

    RequestQueue();

    /// Has the request due after \a latencyMs, and after the earlier ones to the same equipment;
    /// when both is the case at once, before `add` returns. \a bytes is what the request takes up
    /// while it waits.
    void add(const Request &request, int latencyMs, qint64 bytes);

    /// What all waiting requests take up.
    qint64 waitingBytes() const;

    /// Takes out, in order, the requests that \a isMeant; they will not be due any more.
    std::vector<Request> take(const std::function<bool(const DeviceRequest &)> &isMeant);

Q_SIGNALS:
    void due(RequestQueue::Request request);

private:
    struct Entry
    {
        QDeadlineTimer deadline;
        Request request;
        qint64 bytes;
    };

    using Entries = std::deque<Entry>;

    Entries::iterator placeFor(const DeviceRequest &request, const QDeadlineTimer &deadline);
    void emitDue();
    void startTimer();

    QTimer m_timer;
    Entries m_entries; // in the order in which they are due
    qint64 m_waitingBytes = 0;
};

#endif
