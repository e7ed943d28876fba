#ifndef WORKERPOOL_H
#define WORKERPOOL_H

#include "KillOutcome.h"

#include <QList>
#include <QString>

#include <functional>

/// Processes that share out work: each is a fork of this one with a temporary folder of its own and
/// an application object, so this one must not have one yet.
class WorkerPool
{
public:
    using Report = std::function<void(const KillOutcome &)>;
    /// What one process does: it is told its number, from 0 on, and where to report to. Returns
    /// its exit code.
    using Work = std::function<int(int number, const Report &report)>;

    /// Folders are made in \a folder.
    explicit WorkerPool(const QString &folder);

    /// Blocks until all \a count processes have ended; everything that they reported.
    QList<KillOutcome> run(int count, const Work &work);
    /// Processes that ended otherwise than with exit code 0.
    int failed() const;

private:
    [[noreturn]] void become(int number, int reportEnd, const Work &work) const;

    const QString m_folder;
    int m_failed = 0;
};

#endif
