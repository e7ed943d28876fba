#ifndef PROXYQUEUE_H
#define PROXYQUEUE_H

#include "KVTServerMessageOldProxy.h"
#include "Receiver.h"

/// The proxy without its workers: each body is split, dispatched and put into the notify queue,
/// from which this takes it and releases it.
class ProxyQueue : public Receiver
{
    Q_OBJECT

public:
    explicit ProxyQueue(TarnEnum::PackageType type);
    ~ProxyQueue() override;

    bool open() override;

protected:
    void send(const Order &order) override;

private:
    void takeQueued();

    KVTServerMessageOldProxy m_proxy;
};

#endif
