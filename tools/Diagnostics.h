#ifndef DIAGNOSTICS_H
#define DIAGNOSTICS_H

#include <QString>

/// What the program says on standard error: lines, each behind the program's name. Only from the
/// main thread.
namespace Diagnostics {

/// Takes over Qt's log. From then on nothing of it is shown but, after `setVerbose`, the session's.
void takeLog();

/// Whether the session's log is shown; off at first.
void setVerbose(bool verbose);
/// Whether `line` keeps silent; off at first.
void setQuiet(bool quiet);

void line(const QString &text);

} // namespace Diagnostics

#endif
