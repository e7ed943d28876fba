#ifndef DELETIONWATCH_H
#define DELETIONWATCH_H

#include <QtGlobal>

/// Counts how often one object is deleted, for classes that cannot tell of it themselves. Deleting
/// the object does not release its memory while this lives, so a second deletion is counted too
/// and what the object held can be looked at. One at a time; the program must be built with
/// DeletionWatch.cpp, which replaces the global allocation functions.
class DeletionWatch
{
public:
    explicit DeletionWatch(void *object);
    /// Releases the memory.
    ~DeletionWatch();

    int deletions() const;

private:
    Q_DISABLE_COPY_MOVE(DeletionWatch)

    void *const m_object;
};

#endif
