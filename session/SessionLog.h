#ifndef SESSIONLOG_H
#define SESSIONLOG_H

#include "Log.h"

#include <QLoggingCategory>

/// Everything that the session layer logs.
Q_DECLARE_LOGGING_CATEGORY(sessionLog)

namespace SessionLog {

/// A sentence of ours, without the quotation marks that a name from outside gets.
struct Sentence
{
    const QString &text;
};

inline QDebug operator<<(QDebug stream, const Sentence &sentence)
{
    stream.noquote() << sentence.text;
    return stream.quote();
}

template <typename... Parts>
void debug(const Parts &...parts) noexcept
{
    if (sessionLog().isDebugEnabled())
        Log::write(QtDebugMsg, sessionLog().categoryName(), parts...);
}

template <typename... Parts>
void warning(const Parts &...parts) noexcept
{
    if (sessionLog().isWarningEnabled())
        Log::write(QtWarningMsg, sessionLog().categoryName(), parts...);
}

} // namespace SessionLog

#endif
