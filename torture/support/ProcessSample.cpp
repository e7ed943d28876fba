#include "ProcessSample.h"

#include "OpenDescriptors.h"

#include <QFile>

#include <malloc.h>
#include <unistd.h>

ProcessSample ProcessSample::take()
{
    ProcessSample sample;
    QFile file(QStringLiteral("/proc/self/statm"));
    if (file.open(QIODevice::ReadOnly))
        sample.residentBytes
            = file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
    const struct mallinfo2 heap = mallinfo2(); // the second counts what is mapped
    sample.heapBytes = static_cast<qint64>(heap.uordblks) + static_cast<qint64>(heap.hblkhd);
    sample.descriptors = openDescriptors();
    return sample;
}
