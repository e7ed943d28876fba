#ifndef LOG_H
#define LOG_H

#include <QDebug>
#include <QString>
#include <QtGlobal>

#include <new>

/// Lines for the log, with the text that Qt's own streams give. Where these end the process when
/// memory runs out, a line is left out.
namespace Log {

template <typename... Parts>
void write(QtMsgType type, const char *category, const Parts &...parts) noexcept
{
    try {
        QString text;
        QDebug stream(&text);
        static_cast<void>((stream << ... << parts));
        if (text.endsWith(QLatin1Char(' ')))
            text.chop(1); // the last part's
        qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, category), text);
    } catch (const std::bad_alloc &) { }
}

template <typename... Parts>
void debug(const Parts &...parts) noexcept
{
    write(QtDebugMsg, "default", parts...);
}

template <typename... Parts>
void info(const Parts &...parts) noexcept
{
    write(QtInfoMsg, "default", parts...);
}

template <typename... Parts>
void critical(const Parts &...parts) noexcept
{
    write(QtCriticalMsg, "default", parts...);
}

} // namespace Log

#endif
