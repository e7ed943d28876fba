#ifndef OBJECTCOUNT_H
#define OBJECTCOUNT_H

/// Counts the QObjects of the process, on all threads: what is made and never deleted shows. The
/// program must be built with ObjectCount.cpp.
namespace ObjectCount {

/// Begins to count at 0. Objects that stand already count when they go.
void start();
/// Objects made since then less objects deleted.
int alive();

} // namespace ObjectCount

#endif
