#ifndef VIRTUALCLOCK_H
#define VIRTUALCLOCK_H

/// The clock of a program that cannot wait. The program must be built with VirtualClock.cpp, which
/// takes the place of the system's monotonic clock and of its sleep: time passes as it does, and
/// when it is told to, at once. So time-outs of minutes come after microseconds, and nothing of the
/// library is different.
///
/// Sleep on the main thread is time that passes. A `MsgThread` sleeps until it is stopped: whoever
/// uses this gives the beat itself.
namespace VirtualClock {

void advance(int milliseconds);

} // namespace VirtualClock

#endif
