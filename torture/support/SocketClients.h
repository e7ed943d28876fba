#ifndef SOCKETCLIENTS_H
#define SOCKETCLIENTS_H

/// The socket clients of the process. A proxy leaves its own behind, which is known and kept; where
/// leaks are counted it must not hide others.
namespace SocketClients {

/// Notices clients that are made from now on.
void watch();
/// Deletes those whose proxy has gone.
void deleteAbandoned();

} // namespace SocketClients

#endif
