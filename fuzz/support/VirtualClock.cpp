#include "VirtualClock.h"

#include "MsgThread.h"

#include <QMutex>
#include <QMutexLocker>
#include <QVector>
#include <QWaitCondition>

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 NsPerMs = 1000000;

std::atomic<qint64> passedNs{0};
std::atomic<int> sleeperCount{0};

struct Sleepers
{
    QMutex mutex;
    QWaitCondition stopped;
    QVector<MsgThread *> threads;
};

Sleepers &sleepers()
{
    static auto *const lasting = new Sleepers;
    return *lasting;
}

bool isMainThread()
{
    thread_local const bool isMain = getpid() == static_cast<pid_t>(syscall(SYS_gettid));
    return isMain;
}

void sleepUntilStopped(MsgThread *thread)
{
    Sleepers &all = sleepers();
    const QMutexLocker locker(&all.mutex);
    all.threads.append(thread);
    ++sleeperCount;
    while (!thread->stop())
        all.stopped.wait(&all.mutex);
    --sleeperCount;
    all.threads.removeOne(thread);
}

// Whoever stops a thread waits for it next, and looks at the clock for that.
void wakeStopped()
{
    Sleepers &all = sleepers();
    const QMutexLocker locker(&all.mutex);
    for (MsgThread *const thread : qAsConst(all.threads)) {
        if (thread->stop()) {
            all.stopped.wakeAll();
            return;
        }
    }
}

} // namespace

void VirtualClock::advance(int milliseconds)
{
    passedNs += milliseconds * NsPerMs;
}

extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec *time)
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result != 0 || clock != CLOCK_MONOTONIC)
        return result;
    const qint64 ns = time->tv_nsec + passedNs;
    time->tv_sec += ns / NsPerSecond;
    time->tv_nsec = ns % NsPerSecond;
    if (sleeperCount > 0 && isMainThread())
        wakeStopped();
    return result;
}

extern "C" Q_DECL_EXPORT int nanosleep(const timespec *duration, timespec *left)
{
    if (isMainThread()) {
        passedNs += duration->tv_sec * NsPerSecond + duration->tv_nsec;
        return 0;
    }
    if (auto *const worker = qobject_cast<MsgThread *>(QThread::currentThread())) {
        sleepUntilStopped(worker);
        return 0;
    }
    return static_cast<int>(syscall(SYS_nanosleep, duration, left));
}
