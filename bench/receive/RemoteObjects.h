#ifndef REMOTEOBJECTS_H
#define REMOTEOBJECTS_H

#include "Receiver.h"

#include <QRemoteObjectNode>

#include <memory>

class PayloadsReplica;

/// A generated replica of Qt Remote Objects that receives a signal.
class RemoteObjects : public Receiver
{
    Q_OBJECT

public:
    RemoteObjects();
    ~RemoteObjects() override;

    bool open() override;

protected:
    void send(const Order &order) override;

private:
    QRemoteObjectNode m_node;
    std::unique_ptr<PayloadsReplica> m_replica;
};

#endif
