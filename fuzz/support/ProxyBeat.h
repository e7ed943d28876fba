#ifndef PROXYBEAT_H
#define PROXYBEAT_H

/// The proxies that the session layer keeps to itself, driven from outside: with a clock that does
/// not wait, nobody else gives their beat. `LivingObjects` must have been started.
namespace ProxyBeat {

/// What both workers of each proxy would have called after 10 ms.
void beat();

/// Deletes what proxies keep on purpose and nobody owns any more: socket clients of proxies that
/// are gone, replies that nobody waited for, broadcasts that were not raised.
void releaseKeptObjects();

} // namespace ProxyBeat

#endif
