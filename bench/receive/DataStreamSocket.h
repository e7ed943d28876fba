#ifndef DATASTREAMSOCKET_H
#define DATASTREAMSOCKET_H

#include "Receiver.h"

#include <QDataStream>
#include <QLocalSocket>

/// The same frames through transactions of `QDataStream`, whose form of a byte array they have.
class DataStreamSocket : public Receiver
{
    Q_OBJECT

public:
    bool open() override;

protected:
    void send(const Order &order) override;

private:
    void read();

    QLocalSocket m_socket;
    QDataStream m_stream{&m_socket};
};

#endif
