#ifndef MSGTHREAD_H
#define MSGTHREAD_H

#include "ksproxyoldclient_export.h"

#include <QThread>

#include <atomic>

class ThreadRunBase;

/// A thread that gives the beat: it emits `doInfo(false)`, sleeps, and does so again until it is
/// stopped.
///
/// Make it, connect `doInfo` with `Qt::QueuedConnection` to a loop on another thread, call `start`;
/// to end it call `setStop(true)` and wait. Emissions are not coalesced: a receiver slower than the
/// interval finds them queued up. `setStop`, `setInterval` and the getters may be called from any
/// thread. Deleting a running thread is the owner's error. A signal for which there is no memory is
/// left out, with "out of memory" in the log at critical level; nothing else is logged.
class KSPROXYOLDCLIENT_EXPORT MsgThread : public QThread
{
    Q_OBJECT

public:
    /// \a interval in milliseconds: 0 only yields, a negative one sleeps practically forever.
    ///
    /// With a \a runner the thread emits no `doInfo` and does not sleep: it calls, over and over,
    /// the first virtual operation of the object that the runner's first member points to; while
    /// that pointer is null it spins. The thread owns the runner, which must have come from `new`
    /// and be trivially destructible: it is deallocated without its destructor. The object behind
    /// it stays the caller's.
    MsgThread(int interval, ThreadRunBase *runner);
    ~MsgThread() override;

    /// The beat, until it is stopped; called by the thread itself.
    void run() override;

    /// Whether the thread has been asked to stop. Does not stop it.
    bool stop();
    /// Ends the loop at its next check: a sleep in progress is slept to its end first.
    void setStop(bool stop);

    ///@{
    /// Milliseconds; a change counts from the next sleep on.
    int interval() const;
    void setInterval(int interval);
    ///@}

Q_SIGNALS:
    /// The beat, emitted on the new thread; always false.
    void doInfo(bool deleteThread);
    ///@{
    /// Once each, emitted on the new thread: when `run` begins, and when it has left its loop; with
    /// a runner too. Nothing in the library is connected to them.
    void begionRunEvent();
    void endRunEvent();
    ///@}

private:
    // Relaxed is enough for both: the loop may see a change one round late.
    std::atomic<bool> m_stop{false};
    std::atomic<qint32> m_interval;
    ThreadRunBase *m_runner;
};

#endif
