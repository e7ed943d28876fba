#include "ClientConnection.h"

#include "FrameCodec.h"
#include "MessageBody.h"
#include "ServerLog.h"

#include <QDeadlineTimer>
#include <QLocalSocket>

namespace {

constexpr quint32 LongestBody = 16 * 1024 * 1024;
// The four lengths above wrap around in the reader, which takes them as empty frames.
constexpr quint32 LongestLength = 0xFFFFFFFFU - FrameCodec::LengthBytes;
constexpr qint64 ReadBufferBytes = 1024 * 1024;
constexpr qint64 LargestBacklog = 64 * 1024 * 1024;

} // namespace

ClientConnection::ClientConnection(qintptr descriptor, int number, int latencyMs)
    : m_socket(new QLocalSocket(this))
    , m_name(QStringLiteral("client %1").arg(number))
    , m_requests(latencyMs)
{
    m_socket->setReadBufferSize(ReadBufferBytes);
    connect(m_socket, &QLocalSocket::readyRead, this, &ClientConnection::read);
    connect(m_socket, &QLocalSocket::disconnected, this, &ClientConnection::closed);
    m_socket->setSocketDescriptor(descriptor);
}

ClientConnection::~ClientConnection()
{
    // No signal may reach this object while it is being destroyed.
    m_socket->disconnect(this);
}

QString ClientConnection::name() const
{
    return m_name;
}

RequestQueue *ClientConnection::requests()
{
    return &m_requests;
}

bool ClientConnection::isRegistered() const
{
    return m_isRegistered;
}

void ClientConnection::setRegistered(bool registered)
{
    m_isRegistered = registered;
}

void ClientConnection::send(int id, const QString &text)
{
    if (m_socket->state() != QLocalSocket::ConnectedState)
        return;
    ServerLog::detail(QStringLiteral("to %1: %2 \"%3\"").arg(m_name).arg(id).arg(text));
    m_socket->write(FrameCodec::encode(MessageBody::encode(id, text)));
    if (m_socket->bytesToWrite() <= LargestBacklog)
        return;
    ServerLog::line(QStringLiteral("%1 does not read and is dropped").arg(m_name));
    m_socket->abort();
}

void ClientConnection::flush(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (m_socket->state() == QLocalSocket::ConnectedState && m_socket->bytesToWrite() > 0
           && !deadline.hasExpired())
        m_socket->waitForBytesWritten(static_cast<int>(deadline.remainingTime()));
}

void ClientConnection::read()
{
    while (m_socket->bytesAvailable() > 0) {
        m_reader.append(withoutPassedOver(m_socket->readAll()));
        QByteArray body;
        while (m_reader.takeFrame(&body))
            Q_EMIT bodyReceived(body);
        passOverLongFrame();
    }
}

// Its bytes are counted, not kept, so that neither this frame nor the client's next one costs the
// server anything.
void ClientConnection::passOverLongFrame()
{
    const quint32 length = m_reader.announcedLength();
    if (m_reader.pendingBytes() < FrameCodec::LengthBytes || length <= LongestBody
        || length > LongestLength)
        return;
    ServerLog::line(QStringLiteral("%1 announces a frame of %2 bytes, over %3: it is passed over")
                        .arg(m_name)
                        .arg(length)
                        .arg(LongestBody));
    m_bytesToPassOver = FrameCodec::LengthBytes + qint64(length) - m_reader.pendingBytes();
    m_reader = FrameReader();
}

QByteArray ClientConnection::withoutPassedOver(QByteArray bytes)
{
    const qint64 count = qMin<qint64>(m_bytesToPassOver, bytes.size());
    m_bytesToPassOver -= count;
    return bytes.remove(0, static_cast<int>(count));
}
