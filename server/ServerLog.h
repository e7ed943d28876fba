#ifndef SERVERLOG_H
#define SERVERLOG_H

#include <QString>

/// The server's diagnostics: lines on standard error, each behind the program's name. Only from the
/// main thread.
namespace ServerLog {

/// Whether `detail` prints anything; off at first.
void setVerbose(bool verbose);

/// Whether it is worth while to make up a text for `detail`.
bool isVerbose();

/// What a client sent, fit for a line of the log: shortened, and without anything that would break
/// or forge a line.
QString quoted(const QString &text);

/// Something a person should know.
void line(const QString &text);

/// Something for who looks on.
void detail(const QString &text);

} // namespace ServerLog

#endif
