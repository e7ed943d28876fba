#include "LoopWatch.h"

LoopWatch::LoopWatch()
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LoopWatch::tick);
    m_timer.start(1);
    restart();
}

void LoopWatch::restart()
{
    m_longestNs = 0;
    m_ticks = 0;
    m_sinceTick.start();
}

double LoopWatch::longestMs() const
{
    // A hold that goes on counts too.
    return static_cast<double>(qMax(m_longestNs, m_sinceTick.nsecsElapsed())) / 1e6;
}

int LoopWatch::ticks() const
{
    return m_ticks;
}

void LoopWatch::tick()
{
    m_longestNs = qMax(m_longestNs, m_sinceTick.nsecsElapsed());
    m_sinceTick.start();
    ++m_ticks;
}
