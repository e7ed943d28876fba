#ifndef SERVERLOG_H
#define SERVERLOG_H

#include <QString>

/// The server's diagnostics: lines on standard error, each behind the program's name. Only from the
/// main thread.
namespace ServerLog {

/// Whether `detail` prints anything; off at first.
void setVerbose(bool verbose);

/// Something a person should know.
void line(const QString &text);

/// Something for who looks on.
void detail(const QString &text);

} // namespace ServerLog

#endif
