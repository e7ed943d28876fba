#ifndef FAILINGCALLS_H
#define FAILINGCALLS_H

#include <QString>

/// Takes the place of the C library's calls that get memory, descriptors, bytes and processes, and
/// makes one of them fail. The program must be built with FailingCalls.cpp.
///
/// A call counts while `arm` is in effect. An allocation counts, on any thread, when the library's
/// own code asked for it, directly or through Qt: going out from the allocation, a function of the
/// library comes before one of the program and before Qt's event loop. What an application's
/// handler allocates, and what Qt's event loop does for itself, is nothing that the library could
/// answer for. Nor are connections of signals, the arguments of signals that are queued, and the
/// making of threads, sockets and their notifiers: Qt uses there what malloc has returned without
/// looking at it, destroys what it has half made, or loses it. Every other call counts on the main
/// thread and in the processes that it forks, and there wherever it comes from: the library's
/// socket is read and written by Qt's event loop.
namespace FailingCalls {

/// What happens to a call; several faults may be of the same calls.
struct Fault
{
    const char *name;
    int call; ///< which calls, see FailingCalls.cpp
    int error; ///< errno; 0 to do only one byte of what was asked
};

/// All faults, the last one with a null name.
const Fault *faults();
/// Null when there is none of that name.
const Fault *fault(const QString &name);

/// Counts from 0 on; the call with the number \a failing, from 0, suffers \a fault. A null fault
/// only counts.
void arm(const Fault *fault, int failing);
void disarm();
/// Calls so far that \a fault could have met.
int count(const Fault &fault);
/// Allocations so far that are left out although the library brings them about.
int leftOut();
/// Whether the one call has been made to fail.
bool hasFailed();

/// While it lives, this thread's calls do not count, and what it allocates is none of the
/// LivingBlocks: a constructor has no way to report a failure
/// but an exception, and a peer in this process is none of the library.
class Pause
{
public:
    Pause();
    ~Pause();

private:
    Q_DISABLE_COPY_MOVE(Pause)
};

/// Prints where the call that failed came from when the environment has KSPROXY_SHOW_SURVIVORS.
void showFailed();

} // namespace FailingCalls

#endif
