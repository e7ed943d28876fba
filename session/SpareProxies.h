#ifndef SPAREPROXIES_H
#define SPAREPROXIES_H

class KVTServerMessageOldProxy;

/// Proxies whose session has ended but whose connection stands. A proxy never closes its
/// connection, not even when it is deleted, so the next session goes on with it: opening and
/// closing a thousand times takes one connection. Also the proxies that are in use: a session may
/// outlive the application object, and their workers must not.
class SpareProxies
{
public:
    /// A proxy that is not initialised and whose connection may be gone by now; null when there is
    /// none. The caller owns it.
    static KVTServerMessageOldProxy *take();

    /// A new proxy. The caller owns it.
    static KVTServerMessageOldProxy *makeNew();

    /// Takes over \a proxy, terminates it and keeps it until the application ends. Blocks for 200
    /// ms at most.
    static void keep(KVTServerMessageOldProxy *proxy);
};

#endif
