#ifndef SESSIONLOG_H
#define SESSIONLOG_H

#include <QLoggingCategory>

/// Everything that the session layer logs.
Q_DECLARE_LOGGING_CATEGORY(sessionLog)

#endif
