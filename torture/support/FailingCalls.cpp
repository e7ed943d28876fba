#include "FailingCalls.h"

#include "CallStack.h"
#include "ForkShared.h"
#include "LivingBlocks.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

#if defined(KSPROXY_ADDRESS_SANITIZER)
#define SYSTEM_MALLOC(name) __interceptor_##name
#else
#define SYSTEM_MALLOC(name) __libc_##name
#endif

extern "C" {
void *SYSTEM_MALLOC(malloc)(size_t);
void *SYSTEM_MALLOC(calloc)(size_t, size_t);
void *SYSTEM_MALLOC(realloc)(void *, size_t);
void SYSTEM_MALLOC(free)(void *);
}

namespace {

enum Call { Allocation, Socket, Connect, Read, Write, Fork, Open, Pipe, Descriptor, CallCount };

constexpr int Shortened = 0;
constexpr FailingCalls::Fault Faults[] = {
    {"allocation", Allocation, ENOMEM},
    {"socket_without_descriptor", Socket, EMFILE},
    {"connect_refused", Connect, ECONNREFUSED},
    {"connect_busy", Connect, EAGAIN},
    {"connect_interrupted", Connect, EINTR},
    {"read_reset", Read, ECONNRESET},
    {"read_interrupted", Read, EINTR},
    {"read_short", Read, Shortened},
    {"write_broken", Write, EPIPE},
    {"write_interrupted", Write, EINTR},
    {"write_full", Write, EAGAIN},
    {"write_short", Write, Shortened},
    {"fork_refused", Fork, EAGAIN},
    {"open_without_descriptor", Open, EMFILE},
    {"open_interrupted", Open, EINTR},
    {"pipe_without_descriptor", Pipe, EMFILE},
    {"descriptors_run_out", Descriptor, EMFILE},
    {nullptr, 0, 0},
};

constexpr int StackKept = 30;

/// Shared with the processes that this one forks.
struct State
{
    std::atomic<bool> isArmed;
    const FailingCalls::Fault *fault;
    int failing;
    std::atomic<int> counts[CallCount];
    std::atomic<int> leftOut;
    std::atomic<bool> hasFailed;
    void *failedAt[StackKept];
    int failedDepth;
};

State *state = nullptr;
thread_local int pauses = 0;
thread_local bool isLooking = false; // the stack's walker may allocate

bool isMainThread()
{
    static thread_local const bool isMain = syscall(SYS_gettid) == getpid();
    return isMain;
}

/// Counts the call. Descriptors run out for good, everything else fails once.
bool isChosen(Call call)
{
    const int number = state->counts[call]++;
    const bool takesDescriptor = call == Socket || call == Open || call == Pipe;
    const int descriptor = takesDescriptor ? state->counts[Descriptor]++ : -1;
    if (state->fault == nullptr)
        return false;
    if (state->fault->call == Descriptor)
        return takesDescriptor && descriptor >= state->failing;
    return state->fault->call == call && number == state->failing;
}

/// Whether this call is one that is to fail.
bool isFailing(Call call, const void *returnAddress)
{
    if (state == nullptr || !state->isArmed || pauses > 0 || isLooking)
        return false;
    if (call == Allocation) {
        isLooking = true;
        const CallStack::Origin origin = CallStack::originOf(returnAddress);
        isLooking = false;
        state->leftOut += origin == CallStack::Origin::LeftOut ? 1 : 0;
        if (origin != CallStack::Origin::Library)
            return false;
    } else if (!isMainThread()) {
        return false;
    }
    if (!isChosen(call))
        return false;
    state->hasFailed = true;
    isLooking = true;
    state->failedDepth = CallStack::take(state->failedAt, StackKept);
    isLooking = false;
    errno = state->fault->error;
    return true;
}

bool isShortened()
{
    return state->fault->error == Shortened;
}

void track(void *place)
{
    if (place == nullptr || pauses > 0 || isLooking)
        return;
    isLooking = true;
    LivingBlocks::add(place, isMainThread());
    isLooking = false;
}

template <typename Function>
Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define INTERPOSED extern "C" __attribute__((visibility("default"), noinline))
#define CALLER __builtin_extract_return_addr(__builtin_return_address(0))
#define NEXT(name) static const auto system = next(&::name, #name)

INTERPOSED void *malloc(size_t size)
{
    if (isFailing(Allocation, CALLER))
        return nullptr;
    void *const place = SYSTEM_MALLOC(malloc)(size);
    track(place);
    return place;
}

INTERPOSED void *calloc(size_t count, size_t size)
{
    if (isFailing(Allocation, CALLER))
        return nullptr;
    void *const place = SYSTEM_MALLOC(calloc)(count, size);
    track(place);
    return place;
}

INTERPOSED void *realloc(void *old, size_t size)
{
    if (isFailing(Allocation, CALLER))
        return nullptr;
    LivingBlocks::remove(old);
    void *const place = SYSTEM_MALLOC(realloc)(old, size);
    track(place != nullptr ? place : old);
    return place;
}

INTERPOSED void free(void *place)
{
    LivingBlocks::remove(place);
    SYSTEM_MALLOC(free)(place);
}

#if defined(KSPROXY_ADDRESS_SANITIZER)
// The sanitizer's own do not come through malloc.
__attribute__((visibility("default"), noinline)) void *operator new(size_t size)
{
    if (isFailing(Allocation, CALLER))
        throw std::bad_alloc();
    void *const place = SYSTEM_MALLOC(malloc)(size);
    track(place);
    return place;
}

__attribute__((visibility("default"), noinline)) void *operator new(size_t size,
                                                                    const std::nothrow_t &) noexcept
{
    if (isFailing(Allocation, CALLER))
        return nullptr;
    void *const place = SYSTEM_MALLOC(malloc)(size);
    track(place);
    return place;
}

__attribute__((visibility("default"))) void operator delete(void *place) noexcept
{
    free(place);
}

__attribute__((visibility("default"))) void operator delete(void *place, size_t) noexcept
{
    free(place);
}
#endif

INTERPOSED int socket(int domain, int type, int protocol) noexcept
{
    NEXT(socket);
    return isFailing(Socket, CALLER) ? -1 : system(domain, type, protocol);
}

INTERPOSED int connect(int fd, const sockaddr *address, socklen_t length)
{
    NEXT(connect);
    return isFailing(Connect, CALLER) ? -1 : system(fd, address, length);
}

INTERPOSED ssize_t read(int fd, void *bytes, size_t size)
{
    NEXT(read);
    if (!isFailing(Read, CALLER))
        return system(fd, bytes, size);
    return isShortened() ? system(fd, bytes, size > 0 ? 1 : 0) : -1;
}

INTERPOSED ssize_t write(int fd, const void *bytes, size_t size)
{
    NEXT(write);
    if (!isFailing(Write, CALLER))
        return system(fd, bytes, size);
    return isShortened() ? system(fd, bytes, size > 0 ? 1 : 0) : -1;
}

INTERPOSED ssize_t recv(int fd, void *bytes, size_t size, int flags)
{
    NEXT(recv);
    if (!isFailing(Read, CALLER))
        return system(fd, bytes, size, flags);
    return isShortened() ? system(fd, bytes, size > 0 ? 1 : 0, flags) : -1;
}

INTERPOSED ssize_t send(int fd, const void *bytes, size_t size, int flags)
{
    NEXT(send);
    if (!isFailing(Write, CALLER))
        return system(fd, bytes, size, flags);
    return isShortened() ? system(fd, bytes, size > 0 ? 1 : 0, flags) : -1;
}

INTERPOSED pid_t fork() noexcept
{
    NEXT(fork);
    return isFailing(Fork, CALLER) ? -1 : system();
}

INTERPOSED int open(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, int) : 0;
    va_end(more);
    NEXT(open);
    return isFailing(Open, CALLER) ? -1 : system(path, flags, mode);
}

INTERPOSED int open64(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, int) : 0;
    va_end(more);
    NEXT(open64);
    return isFailing(Open, CALLER) ? -1 : system(path, flags, mode);
}

INTERPOSED DIR *opendir(const char *path)
{
    NEXT(opendir);
    return isFailing(Open, CALLER) ? nullptr : system(path);
}

INTERPOSED int pipe2(int *ends, int flags) noexcept
{
    NEXT(pipe2);
    return isFailing(Pipe, CALLER) ? -1 : system(ends, flags);
}

const FailingCalls::Fault *FailingCalls::faults()
{
    return Faults;
}

const FailingCalls::Fault *FailingCalls::fault(const QString &name)
{
    for (const Fault *fault = Faults; fault->name != nullptr; ++fault) {
        if (name == QLatin1String(fault->name))
            return fault;
    }
    return nullptr;
}

void FailingCalls::arm(const Fault *fault, int failing)
{
    if (state == nullptr) {
        CallStack::findModules();
        state = ForkShared<State>::create();
    }
    for (std::atomic<int> &count : state->counts)
        count = 0;
    state->leftOut = 0;
    state->hasFailed = false;
    state->fault = fault;
    state->failing = failing;
    state->isArmed = true;
}

void FailingCalls::disarm()
{
    state->isArmed = false;
}

int FailingCalls::count(const Fault &fault)
{
    return state->counts[fault.call];
}

int FailingCalls::leftOut()
{
    return state->leftOut;
}

bool FailingCalls::hasFailed()
{
    return state->hasFailed;
}

FailingCalls::Pause::Pause()
{
    ++pauses;
}

FailingCalls::Pause::~Pause()
{
    --pauses;
}

void FailingCalls::showFailed()
{
    if (!hasFailed() || getenv("KSPROXY_SHOW_SURVIVORS") == nullptr)
        return;
    std::fprintf(stderr, "made to fail at\n");
    CallStack::print(state->failedAt, state->failedDepth);
}
