#include "SendPacer.h"

#include "Later.h"

#include <utility>

namespace {

// The proxy sends one message every 10 ms. A few ahead, so that it never waits for this timer.
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 IntervalNs = 10 * NsPerMs;
constexpr qint64 AheadNs = 3 * IntervalNs;

} // namespace

SendPacer::SendPacer(std::function<bool()> isHeldUp)
    : m_isHeldUp(std::move(isHeldUp))
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SendPacer::goOn);
}

void SendPacer::add(Turn turn)
{
    m_turns.push_back(std::move(turn));
    if (!m_timer.isActive())
        goOn();
}

void SendPacer::clear()
{
    m_turns.clear();
    m_timer.stop();
}

void SendPacer::goOn()
{
    while (!m_turns.empty() && waitNs() <= 0 && !m_isHeldUp()) {
        const Turn turn = std::move(m_turns.front());
        m_turns.pop_front();
        if (turn())
            m_earliestNs = qMax(m_earliestNs, m_clock.nsecsElapsed()) + IntervalNs;
    }
    if (!m_turns.empty())
        guardedTwice(
            [this] { Later::start(&m_timer, qMax(0, static_cast<int>(waitNs() / NsPerMs)) + 1); });
}

qint64 SendPacer::waitNs() const
{
    return m_earliestNs - AheadNs - m_clock.nsecsElapsed();
}
