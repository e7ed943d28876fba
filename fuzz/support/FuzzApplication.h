#ifndef FUZZAPPLICATION_H
#define FUZZAPPLICATION_H

#include "QuietLog.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <memory>

/// What a target needs that has an event loop: one application for all executions, a quiet log, and
/// a temporary folder of this process's own as `TMPDIR`, so that its local sockets are nobody
/// else's.
class FuzzApplication
{
public:
    FuzzApplication();

    /// Handles what is due now, deferred deletions included, until nothing is.
    static void settle();

    QString folder() const;

private:
    Q_DISABLE_COPY_MOVE(FuzzApplication)

    const QuietLog m_quiet;
    const QTemporaryDir m_folder;
    std::unique_ptr<QCoreApplication> m_application;
};

#endif
