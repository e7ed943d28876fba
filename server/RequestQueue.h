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

/// The requests of one client that wait until the simulated equipment gets to them, in order.
class RequestQueue : public QObject
{
    Q_OBJECT

public:
    using Request = std::shared_ptr<DeviceRequest>;

    /// Each request is due \a latencyMs after it was added; without latency at once, before `add`
    /// returns.
    explicit RequestQueue(int latencyMs);

    /// \a bytes is what the request takes up while it waits.
    void add(const Request &request, qint64 bytes);

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

    void emitDue();
    void startTimer();

    int m_latencyMs;
    QTimer m_timer;
    std::deque<Entry> m_entries;
    qint64 m_waitingBytes = 0;
};

#endif
