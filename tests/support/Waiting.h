#ifndef WAITING_H
#define WAITING_H

/// How long a test waits for a condition before it fails. Long, since nothing waits when all is
/// well, and a sanitizer build on a loaded machine is slow.
constexpr int WaitLimitMs = 20000;

#endif
