#ifndef SESSIONLOG_H
#define SESSIONLOG_H

#include <QLoggingCategory>

class QObject;

/// Everything that the session layer logs.
Q_DECLARE_LOGGING_CATEGORY(sessionLog)

/// Whether \a object lives on the calling thread; if not, a warning names \a operation.
bool isOnOwnThread(const QObject *object, const char *operation);

#endif
