#ifndef CLIENTSIGNAL_H
#define CLIENTSIGNAL_H

#include "MsgSocketClient.h"
#include "Receiver.h"

/// The library's socket client, its payloads by direct signal.
class ClientSignal : public Receiver
{
    Q_OBJECT

public:
    bool open() override;

protected:
    void send(const Order &order) override;

private:
    void take(const QByteArray &infos);

    MsgSocketClient m_client;
};

#endif
