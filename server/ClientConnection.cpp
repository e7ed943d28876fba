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

ClientConnection::ClientConnection(qintptr descriptor, int number, FaultPlan *faults)
    : m_socket(new QLocalSocket(this))
    , m_number(number)
    , m_wire(faults)
{
    m_socket->setReadBufferSize(BytesPerTurn);
    connect(m_socket, &QLocalSocket::readyRead, this, &ClientConnection::read);
    connect(m_socket, &QLocalSocket::disconnected, this, &ClientConnection::closed);
    connect(m_socket, &QLocalSocket::bytesWritten, this, &ClientConnection::goOn);
    connect(&m_requests, &RequestQueue::due, this, [this] {
        if (m_isPaused) // not before the request is carried out
            QMetaObject::invokeMethod(this, &ClientConnection::goOn, Qt::QueuedConnection);
    });
    connect(&m_wire, &FaultyWire::due, this, [this](const QByteArray &bytes) {
        write(bytes);
        push(); // the pieces are not to be put together again
    });
    connect(&m_wire, &FaultyWire::closing, m_socket, &QLocalSocket::disconnectFromServer);
    connect(&m_wire, &FaultyWire::released, this, &ClientConnection::goOn);
    if (!m_socket->setSocketDescriptor(descriptor))
        QMetaObject::invokeMethod(this, &ClientConnection::closed, Qt::QueuedConnection);
}

ClientConnection::~ClientConnection()
{
    // No signal may reach this object while it is being destroyed.
    m_socket->disconnect(this);
}

int ClientConnection::number() const
{
    return m_number;
}

QString ClientConnection::name() const
{
    return QStringLiteral("client %1").arg(m_number);
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

void ClientConnection::send(int id, const QString &text, const QString &key)
{
    if (m_socket->state() != QLocalSocket::ConnectedState)
        return;
    m_sent.add(id);
    if (ServerLog::isVerbose())
        ServerLog::detail(QStringLiteral("to %1: %2 ").arg(name()).arg(id)
                          + ServerLog::quoted(text));
    if (m_wire.isClear())
        write(FrameCodec::encode(MessageBody::encode(id, text)));
    else
        m_wire.send({id, text, key});
    dropIfItDoesNotRead();
}

void ClientConnection::sendBytes(const QByteArray &bytes)
{
    m_wire.sendBytes(bytes);
    dropIfItDoesNotRead();
}

void ClientConnection::write(const QByteArray &bytes)
{
    if (m_socket->state() == QLocalSocket::ConnectedState)
        m_socket->write(bytes);
}

void ClientConnection::stall(int ms)
{
    m_wire.stall(ms);
}

void ClientConnection::release()
{
    m_wire.release();
}

bool ClientConnection::isStalled() const
{
    return m_wire.isStalled();
}

void ClientConnection::drop()
{
    m_socket->abort();
}

const MessageCounts &ClientConnection::received() const
{
    return m_received;
}

const MessageCounts &ClientConnection::sent() const
{
    return m_sent;
}

void ClientConnection::push()
{
    m_socket->flush();
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
    while (!isCongested() && m_reader.takeFrame(&body)) {
        if (!body.isEmpty())
            m_received.add(MessageBody::id(body));
        Q_EMIT bodyReceived(body);
    }
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

qint64 ClientConnection::unsentBytes() const
{
    return m_socket->bytesToWrite() + m_wire.waitingBytes();
}

void ClientConnection::dropIfItDoesNotRead()
{
    if (unsentBytes() <= LargestBacklog)
        return;
    ServerLog::line(QStringLiteral("%1 does not read and is dropped").arg(name()));
    drop();
}

bool ClientConnection::isCongested() const
{
    return m_wire.isStalled() || unsentBytes() > CongestionBytes
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
                        .arg(name())
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
