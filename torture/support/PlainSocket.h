#ifndef PLAINSOCKET_H
#define PLAINSOCKET_H

#include <QtGlobal>

/// Local sockets without Qt, for processes that are forked off this one: all but `listenAsServer`
/// are safe there although this one has several threads.
namespace PlainSocket {

/// A socket that listens at the name "tarnSver" of the temporary folder, whatever was there
/// before; -1 when that cannot be.
int listenAsServer();

/// Closes every descriptor of this process but the standard streams and \a descriptor, and has the
/// process die with the one that it was forked off. The new number of \a descriptor.
int keepOnly(int descriptor);

/// A connection; -1 when there is none.
int connectTo(const char *path);

/// Blocks until all is written; false when the other end has gone.
bool writeAll(int descriptor, const char *data, qint64 size);

} // namespace PlainSocket

#endif
