#include "RemoteObjects.h"

#include "rep_Payloads_replica.h"

RemoteObjects::RemoteObjects() = default;
RemoteObjects::~RemoteObjects() = default;

bool RemoteObjects::open()
{
    m_node.connectToNode(QUrl(QStringLiteral("local:benchobjects")));
    m_replica.reset(m_node.acquire<PayloadsReplica>());
    connect(m_replica.get(), &PayloadsReplica::payload, this,
            [this](QByteArray body) { count(body); });
    return m_replica->waitForSource();
}

void RemoteObjects::send(const Order &order)
{
    m_replica->order(order.bytes());
}
