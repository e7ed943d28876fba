#ifndef LOOPWATCH_H
#define LOOPWATCH_H

#include <QElapsedTimer>
#include <QTimer>

/// Measures how long the event loop of its thread is held: a timer of 1 ms, and the longest time
/// between two of its ticks.
class LoopWatch : public QObject
{
    Q_OBJECT

public:
    LoopWatch();

    /// Forgets what was measured.
    void restart();
    double longestMs() const;
    /// Ticks since the start.
    int ticks() const;

private:
    void tick();

    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    qint64 m_longestNs = 0;
    int m_ticks = 0;
};

#endif
