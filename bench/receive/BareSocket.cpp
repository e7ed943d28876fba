#include "BareSocket.h"

#include "FrameCodec.h"

bool BareSocket::open()
{
    connect(&m_socket, &QLocalSocket::readyRead, this, &BareSocket::read);
    m_socket.connectToServer(QStringLiteral("tarnSver"));
    return m_socket.waitForConnected();
}

void BareSocket::send(const Order &order)
{
    m_expected = qint64(order.bodyBytes + FrameCodec::LengthBytes) * order.count;
    m_socket.write(FrameCodec::encode(order.bytes()));
}

void BareSocket::read()
{
    qint64 got = 0;
    while ((got = m_socket.read(m_buffer.data(), qint64(m_buffer.size()))) > 0)
        m_expected -= got;
    if (m_expected == 0)
        countAll();
}
