#include "VirtualClock.h"

#include "MsgThread.h"

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 NsPerMs = 1000000;
constexpr timespec ShortSleep{0, 100000};
constexpr int ShortSleeps = 100;

std::atomic<qint64> passedNs{0};

bool isMainThread()
{
    return getpid() == static_cast<pid_t>(syscall(SYS_gettid));
}

int sleepReally(const timespec *duration, timespec *left)
{
    return static_cast<int>(syscall(SYS_nanosleep, duration, left));
}

} // namespace

void VirtualClock::advance(int milliseconds)
{
    passedNs += milliseconds * NsPerMs;
}

extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec *time)
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        const qint64 ns = time->tv_nsec + passedNs;
        time->tv_sec += ns / NsPerSecond;
        time->tv_nsec = ns % NsPerSecond;
    }
    return result;
}

extern "C" Q_DECL_EXPORT int nanosleep(const timespec *duration, timespec *left)
{
    if (isMainThread()) {
        passedNs += duration->tv_sec * NsPerSecond + duration->tv_nsec;
        return 0;
    }
    auto *const worker = qobject_cast<MsgThread *>(QThread::currentThread());
    if (worker == nullptr)
        return sleepReally(duration, left);
    for (int i = 0; i < ShortSleeps && !worker->stop(); ++i)
        sleepReally(&ShortSleep, nullptr);
    return 0;
}
