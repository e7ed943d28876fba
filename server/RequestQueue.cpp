#include "RequestQueue.h"

#include <algorithm>

RequestQueue::RequestQueue(int latencyMs)
    : m_latencyMs(latencyMs)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &RequestQueue::emitDue);
}

void RequestQueue::add(const Request &request, qint64 bytes)
{
    if (m_latencyMs == 0) {
        Q_EMIT due(request);
        return;
    }
    m_entries.push_back({QDeadlineTimer(m_latencyMs, Qt::PreciseTimer), request, bytes});
    m_waitingBytes += bytes;
    if (!m_timer.isActive())
        startTimer();
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
