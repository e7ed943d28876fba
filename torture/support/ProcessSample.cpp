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
    const struct mallinfo2 heap = mallinfo2();
    sample.heapBytes = static_cast<qint64>(heap.uordblks + heap.hblkhd); // and what is mapped
    sample.descriptors = openDescriptors();
    return sample;
}
