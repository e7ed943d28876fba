#ifndef LIVINGBLOCKS_H
#define LIVINGBLOCKS_H

/// Which blocks of memory still stand, and where they were made. What it does itself takes no
/// memory, so that it can be told from inside malloc; any thread may tell it.
namespace LivingBlocks {

/// Remembers from now on.
void start();
/// \a place has just been made by the caller. Those of other threads than the main one are
/// remembered when a function of the library stands on the stack: the rest is a peer's.
void add(void *place, bool isMainThread);
void remove(const void *place);
/// How many still stand, without those that the library keeps by its contract; prints where they
/// were made when the environment has KSPROXY_SHOW_SURVIVORS. Ends the remembering.
int survivors();

} // namespace LivingBlocks

#endif
