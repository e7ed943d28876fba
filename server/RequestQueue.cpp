#include "RequestQueue.h"

#include <algorithm>

RequestQueue::RequestQueue()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &RequestQueue::emitDue);
}

void RequestQueue::add(const Request &request, int latencyMs, qint64 bytes)
{
    if (latencyMs == 0 && m_entries.empty()) {
        Q_EMIT due(request);
        return;
    }
    QDeadlineTimer deadline(latencyMs, Qt::PreciseTimer);
    const auto place = placeFor(*request, deadline);
    const bool isFirst = place == m_entries.begin();
    if (latencyMs == 0 && isFirst) {
        Q_EMIT due(request);
        return;
    }
    if (!isFirst)
        deadline = qMax(deadline, std::prev(place)->deadline);
    m_entries.insert(place, {deadline, request, bytes});
    m_waitingBytes += bytes;
    startTimer();
}

// Behind whatever is due by then and behind the last request to the same equipment.
RequestQueue::Entries::iterator RequestQueue::placeFor(const DeviceRequest &request,
                                                       const QDeadlineTimer &deadline)
{
    auto place = m_entries.end();
    while (place != m_entries.begin() && deadline < std::prev(place)->deadline
           && std::prev(place)->request->connectionKey() != request.connectionKey())
        --place;
    return place;
}

qint64 RequestQueue::waitingBytes() const
{
    return m_waitingBytes;
}

std::vector<RequestQueue::Request>
RequestQueue::take(const std::function<bool(const DeviceRequest &)> &isMeant)
{
    std::vector<Request> taken;
    const auto firstTaken
        = std::stable_partition(m_entries.begin(), m_entries.end(),
                                [&](const Entry &entry) { return !isMeant(*entry.request); });
    std::for_each(firstTaken, m_entries.end(), [&](const Entry &entry) {
        taken.push_back(entry.request);
        m_waitingBytes -= entry.bytes;
    });
    m_entries.erase(firstTaken, m_entries.end());
    return taken;
}

void RequestQueue::emitDue()
{
    while (!m_entries.empty() && m_entries.front().deadline.hasExpired()) {
        const Request request = m_entries.front().request;
        m_waitingBytes -= m_entries.front().bytes;
        m_entries.pop_front();
        Q_EMIT due(request);
    }
    if (!m_entries.empty())
        startTimer();
}

void RequestQueue::startTimer()
{
    m_timer.start(static_cast<int>(m_entries.front().deadline.remainingTime()));
}
