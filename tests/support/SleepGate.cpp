#include "SleepGate.h"

#include <QMutex>
#include <QMutexLocker>
#include <QWaitCondition>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Shared
{
    QMutex mutex;
    QWaitCondition released;
    bool isWatching = false;
    bool isClosed = false;
    int releases = 0;
    int wokenThread = 0;
    QList<timespec> sleeps;
};

Shared &shared()
{
    static Shared instance;
    return instance;
}

using Sleep = int (*)(const timespec *, timespec *);

Sleep systemSleep()
{
    static const auto sleep = reinterpret_cast<Sleep>(dlsym(RTLD_NEXT, "nanosleep"));
    return sleep;
}

/// Whether the sleep is over without having been slept.
bool passGate(const timespec &duration)
{
    Shared &gate = shared();
    const QMutexLocker locker(&gate.mutex);
    if (!gate.isWatching)
        return false;
    gate.sleeps.append(duration);
    if (!gate.isClosed)
        return false;
    while (gate.isClosed && gate.releases == 0)
        gate.released.wait(&gate.mutex);
    if (gate.isClosed)
        --gate.releases;
    return true;
}

bool isWoken()
{
    const QMutexLocker locker(&shared().mutex);
    return shared().wokenThread == syscall(SYS_gettid);
}

void breakOff(int) { }

} // namespace

// Takes the place of the C library's for the whole process: Qt's sleeps end here.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec *duration,
                                                                timespec *remaining)
{
    const bool isMainThread = syscall(SYS_gettid) == getpid();
    if (!isMainThread && passGate(*duration))
        return 0;
    const int result = systemSleep()(duration, remaining);
    return result != 0 && errno == EINTR && isWoken() ? 0 : result;
}

SleepGate::SleepGate(State state)
{
    const QMutexLocker locker(&shared().mutex);
    shared().isWatching = true;
    shared().isClosed = state == Closed;
    shared().releases = 0;
    shared().wokenThread = 0;
    shared().sleeps.clear();
}

SleepGate::~SleepGate()
{
    open();
    const QMutexLocker locker(&shared().mutex);
    shared().isWatching = false;
}

QList<qint64> SleepGate::nanoseconds() const
{
    const QMutexLocker locker(&shared().mutex);
    QList<qint64> durations;
    for (const timespec &duration : qAsConst(shared().sleeps))
        durations.append(duration.tv_sec * Q_INT64_C(1000000000) + duration.tv_nsec);
    return durations;
}

qint64 SleepGate::lastSeconds() const
{
    const QMutexLocker locker(&shared().mutex);
    return shared().sleeps.isEmpty() ? -1 : shared().sleeps.last().tv_sec;
}

int SleepGate::count() const
{
    const QMutexLocker locker(&shared().mutex);
    return shared().sleeps.size();
}

void SleepGate::releaseOne()
{
    const QMutexLocker locker(&shared().mutex);
    ++shared().releases;
    shared().released.wakeAll();
}

void SleepGate::wake(int threadId)
{
    struct sigaction action
    {
    };
    action.sa_handler = breakOff;
    sigaction(SIGUSR2, &action, nullptr);
    {
        const QMutexLocker locker(&shared().mutex);
        shared().wokenThread = threadId;
    }
    syscall(SYS_tgkill, getpid(), threadId, SIGUSR2);
}

void SleepGate::open()
{
    const QMutexLocker locker(&shared().mutex);
    shared().isClosed = false;
    shared().released.wakeAll();
}
