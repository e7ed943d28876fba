#ifndef DELETEWATCH_H
#define DELETEWATCH_H

/// Counts how often plain deallocation is told to free one piece of memory. Linking it replaces
/// the global `operator new` and `operator delete` of the whole process.
namespace DeleteWatch {

/// From now on counts for \a memory, which need not be allocated any more when the count is read.
void watch(const void *memory);
int count();

} // namespace DeleteWatch

#endif
