#ifndef PROXYKILL_H
#define PROXYKILL_H

#include "KVTServerMessageOldProxy.h"
#include "KillOutcome.h"
#include "KilledServer.h"

#include <QHash>
#include <QPointer>

#include <memory>

class PackageBase;

/// A plain proxy with reads whose server dies, once.
class ProxyKill
{
public:
    static constexpr int Requests = 50;

    /// \a server has been started and stays the caller's.
    explicit ProxyKill(KilledServer *server);

    /// Registers, makes the requests, waits until a write fails and ends the proxy.
    void run();
    /// The same until the last reply; the server is left alone.
    void runUndisturbed();

    const KillOutcome &outcome() const;

private:
    Q_DISABLE_COPY_MOVE(ProxyKill)

    struct Request
    {
        QPointer<PackageBase> package;
        int completions = 0;
    };

    void begin();
    void makeRequest(int index);
    void completed(int index, const PackageBase &reply);
    bool isConfirmed() const;
    int completions() const;
    void probe();
    void endProxy();

    KilledServer *const m_server;
    std::unique_ptr<KVTServerMessageOldProxy> m_proxy;
    QVector<Request> m_requests;
    KillOutcome m_outcome;
};

#endif
