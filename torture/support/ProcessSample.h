#ifndef PROCESSSAMPLE_H
#define PROCESSSAMPLE_H

#include <QtGlobal>

/// What this process holds at one moment.
struct ProcessSample
{
    static ProcessSample take();

    qint64 residentBytes = 0;
    qint64 heapBytes
        = 0; ///< in use, not what the allocator keeps; the sanitizers' own tell nothing
    int descriptors = 0;
};

#endif
