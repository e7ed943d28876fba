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
constexpr qint64 BytesPerTurn = 64LL * 1024; // then the other clients have theirs
constexpr qint64 CongestionBytes = 16LL * 1024 * 1024;
constexpr qint64 LargestBacklog = 64LL * 1024 * 1024;

} // namespace

ClientConnection::ClientConnection(qintptr descriptor, int number, int latencyMs)
    : m_socket(new QLocalSocket(this))
    , m_name(QStringLiteral("client %1").arg(number))
    , m_requests(latencyMs)
{
    m_socket->setReadBufferSize(BytesPerTurn);
    connect(m_socket, &QLocalSocket::readyRead, this, &ClientConnection::read);
    connect(m_socket, &QLocalSocket::disconnected, this, &ClientConnection::closed);
    connect(m_socket, &QLocalSocket::bytesWritten, this, &ClientConnection::goOn);
    connect(&m_requests, &RequestQueue::due, this, &ClientConnection::goOn, Qt::QueuedConnection);
    if (!m_socket->setSocketDescriptor(descriptor))
        QMetaObject::invokeMethod(this, &ClientConnection::closed, Qt::QueuedConnection);
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
    if (ServerLog::isVerbose())
        ServerLog::detail(QStringLiteral("to %1: %2 ").arg(m_name).arg(id)
                          + ServerLog::quoted(text));
    m_socket->write(FrameCodec::encode(MessageBody::encode(id, text)));
    if (m_socket->bytesToWrite() <= LargestBacklog)
        return;
    ServerLog::line(QStringLiteral("%1 does not read and is dropped").arg(m_name));
    m_socket->abort();
}

void ClientConnection::flush(const QDeadlineTimer &deadline)
{
    while (m_socket->state() == QLocalSocket::ConnectedState && m_socket->bytesToWrite() > 0
           && !deadline.hasExpired())
        m_socket->waitForBytesWritten(static_cast<int>(deadline.remainingTime()));
}

void ClientConnection::read()
{
    if (m_isPaused)
        return;
    m_reader.append(withoutPassedOver(m_socket->read(BytesPerTurn)));
    serve();
}

void ClientConnection::serve()
{
    QByteArray body;
    while (!isCongested() && m_reader.takeFrame(&body))
        Q_EMIT bodyReceived(body);
    m_isPaused = isCongested();
    if (m_isPaused)
        return;
    passOverLongFrame();
    if (m_socket->bytesAvailable() > 0)
        QMetaObject::invokeMethod(this, &ClientConnection::read, Qt::QueuedConnection);
}

void ClientConnection::goOn()
{
    if (m_isPaused && !isCongested())
        serve();
}

bool ClientConnection::isCongested() const
{
    return m_socket->bytesToWrite() > CongestionBytes
        || m_requests.waitingBytes() > CongestionBytes;
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
