#include "DataStreamSocket.h"

#include "FrameCodec.h"

bool DataStreamSocket::open()
{
    m_stream.setByteOrder(QDataStream::LittleEndian);
    connect(&m_socket, &QLocalSocket::readyRead, this, &DataStreamSocket::read);
    m_socket.connectToServer(QStringLiteral("tarnSver"));
    return m_socket.waitForConnected();
}

void DataStreamSocket::send(const Order &order)
{
    // Not through the stream, which takes nothing after a transaction that is incomplete.
    m_socket.write(FrameCodec::encode(order.bytes()));
}

void DataStreamSocket::read()
{
    for (;;) {
        QByteArray body;
        m_stream.startTransaction();
        m_stream >> body;
        if (!m_stream.commitTransaction())
            return;
        count(body);
    }
}
