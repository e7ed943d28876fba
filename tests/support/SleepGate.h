#ifndef SLEEPGATE_H
#define SLEEPGATE_H

#include <QList>

/// Stands between the threads of this process and the system call in which they sleep, all but the
/// main thread: it writes down how long each asks to sleep, and holds sleepers back while it is
/// closed. So a test knows that a thread sleeps, and decides when it wakes, without waiting for
/// the clock. One at a time; a thread that is held must be released before the gate is destroyed.
class SleepGate
{
public:
    enum State { Open, Closed };

    explicit SleepGate(State state);
    ~SleepGate();

    /// Nanoseconds, in the order in which the sleeps began.
    QList<qint64> nanoseconds() const;
    /// Whole seconds of the newest sleep: more than fit in nanoseconds when it is enormous.
    qint64 lastSeconds() const;
    /// How many sleeps have begun.
    int count() const;
    /// Lets one sleeper go on, now or when it comes. It does not sleep any further.
    void releaseOne();
    /// Breaks off what the thread with that kernel id sleeps, once it does; say it again until the
    /// thread goes on. It believes that it has slept to the end.
    void wake(int threadId);
    /// Lets all sleepers go on and closes no more; sleeps last as long as they should again.
    void open();

private:
    Q_DISABLE_COPY_MOVE(SleepGate)
};

#endif
