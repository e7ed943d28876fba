#ifndef OPENDESCRIPTORS_H
#define OPENDESCRIPTORS_H

#include <QDir>

/// How many file descriptors this process has open.
inline int openDescriptors()
{
    const QDir folder(QStringLiteral("/proc/self/fd"));
    return folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

#endif
