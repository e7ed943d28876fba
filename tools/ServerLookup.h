#ifndef SERVERLOOKUP_H
#define SERVERLOOKUP_H

#include <QtGlobal>

#include <optional>

/// The process id of the server process on this machine, whoever runs it; nothing when there is
/// none.
std::optional<qint64> serverProcessId();

#endif
