#include "ClientSignal.h"

bool ClientSignal::open()
{
    connect(&m_client, &MsgSocketClient::receivedInfos, this, &ClientSignal::take);
    return m_client.connectServer();
}

void ClientSignal::send(const Order &order)
{
    m_client.SendData(order.bytes());
}

void ClientSignal::take(const QByteArray &infos)
{
    count(infos);
}
