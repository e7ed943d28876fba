#ifndef PROXYPEER_H
#define PROXYPEER_H

#include "KVTServerMessageOldProxy.h"
#include "PeerClient.h"

#include <QObject>

/// Such a client on a plain proxy.
class ProxyPeer : public PeerClient
{
public:
    bool open() override;
    void request() override;

private:
    QObject m_packages; // parent of the requests; longer than the proxy
    KVTServerMessageOldProxy m_proxy;
};

#endif
