#ifndef SESSIONLOG_H
#define SESSIONLOG_H

#include "Log.h"

#include <QLoggingCategory>

#include <new>

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
void write(QtMsgType type, const Parts &...parts) noexcept
{
    try { // to be asked for the first time the category needs memory
        if (sessionLog().isEnabled(type))
            Log::write(type, sessionLog().categoryName(), parts...);
    } catch (const std::bad_alloc &) { }
}

template <typename... Parts>
void debug(const Parts &...parts) noexcept
{
    write(QtDebugMsg, parts...);
}

template <typename... Parts>
void warning(const Parts &...parts) noexcept
{
    write(QtWarningMsg, parts...);
}

} // namespace SessionLog

#endif
