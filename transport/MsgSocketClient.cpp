#include "MsgSocketClient.h"

#include "FrameCodec.h"
#include "Guarded.h"

#include <QLocalSocket>

#include <memory>

namespace {

const QLatin1String ServerName("tarnSver");
constexpr int ConnectTimeoutMs = 500;
constexpr int DisconnectTimeoutMs = 30000;
// Small enough to stay in the processor's cache until its frames are cut.
constexpr qint64 BytesPerRead = 65536;

} // namespace

MsgSocketClient::MsgSocketClient()
{
    auto socket = std::make_unique<QLocalSocket>();
    connect(socket.get(), &QIODevice::readyRead, this, &MsgSocketClient::readyRead);
    m_socket = socket.release();
}

MsgSocketClient::~MsgSocketClient()
{
    guarded([this] { disconnectFromServer(); });
    // A receiver may delete this client from inside the socket's own signal, which still stands on
    // the socket when it returns.
    if (m_readDepth > 0)
        m_socket->deleteLater();
    else
        delete m_socket;
    m_socket = nullptr;
}

bool MsgSocketClient::connectServer()
{
    if (m_socket == nullptr)
        return false;
    // Open, not connected, is what counts: a proxy whose server went away is not connected anew.
    if (m_socket->isOpen())
        return true;
    if (guarded([this] { return openConnection(); }, false))
        return true;
    // Both: an attempt that is still under way would connect later by itself, and keep its
    // descriptor.
    guarded([this] { m_socket->abort(); });
    guarded([this] { m_socket->close(); });
    return false;
}

bool MsgSocketClient::openConnection()
{
    disconnectFromServer();
    m_socket->connectToServer(ServerName, QIODevice::ReadWrite);
    const bool isConnected = m_socket->waitForConnected(ConnectTimeoutMs);
    if (isConnected)
        Log::debug("connect server ok");
    else
        Log::debug("connect server error!", m_socket->errorString());
    return isConnected;
}

bool MsgSocketClient::disconnectFromServer()
{
    if (m_socket == nullptr || !m_socket->isOpen())
        return false;
    // A receiver of one frame may disconnect: what had arrived with that frame still counts.
    while (m_readDepth > 0 && readPiece()) { }
    m_socket->disconnectFromServer();
    m_socket->abort();
    if (m_socket->state() == QLocalSocket::ConnectedState)
        return m_socket->waitForDisconnected(DisconnectTimeoutMs);
    m_socket->close(); // abort alone leaves the device open, and connectServer would trust it
    return true;
}

bool MsgSocketClient::SendData(const QByteArray &data)
{
    if (m_socket == nullptr || m_socket->state() != QLocalSocket::ConnectedState)
        return false;
    const qint64 waiting = m_socket->bytesToWrite();
    bool isTaken = false;
    guardedTwice([&] {
        // Memory may also have run out when the socket had the frame already, but not yet the means
        // to be told when it can be written.
        if (m_socket->bytesToWrite() > waiting) {
            isTaken = true;
            m_socket->flush();
        } else {
            isTaken = m_socket->write(FrameCodec::encode(data)) != -1;
        }
    });
    return isTaken;
}

// Later: this may be called from inside the socket's own signal.
void MsgSocketClient::abandon()
{
    m_isAbandoned = true;
    m_reader = FrameReader();
    if (m_socket == nullptr)
        return;
    const auto closeWhenGone = [socket = m_socket] {
        if (socket->state() == QLocalSocket::UnconnectedState)
            socket->close(); // with its buffers, tens of kilobytes
    };
    guarded([&] { // without memory the buffers stay
        connect(m_socket, &QLocalSocket::disconnected, m_socket, closeWhenGone,
                Qt::QueuedConnection);
        QMetaObject::invokeMethod(m_socket, closeWhenGone, Qt::QueuedConnection);
    });
}

void MsgSocketClient::readyRead()
{
    if (m_socket == nullptr || sender() != m_socket)
        return;
    if (m_isAbandoned) {
        m_socket->skip(m_socket->bytesAvailable()); // takes no memory, unlike readAll
        return;
    }
    ++m_readDepth;
    bool isAlive = true;
    guardedTwice([this, &isAlive] { isAlive = readAll(); });
    if (isAlive)
        --m_readDepth;
}

// False when a receiver deleted this client. Until nothing is left: Qt does not announce what
// arrives while a receiver runs an event loop.
bool MsgSocketClient::readAll()
{
    do {
        if (!emitCompleteFrames())
            return false;
    } while (!m_isAbandoned && readPiece());
    return true;
}

// Straight from the socket to where the frames are cut; false when there is nothing.
bool MsgSocketClient::readPiece()
{
    const qint64 available = qMin(m_socket->bytesAvailable(), BytesPerRead);
    if (available <= 0)
        return false;
    const FrameReader::Room room = m_reader.room(available);
    const qint64 got = m_socket->read(room.data, room.size);
    m_reader.commit(int(qMax(qint64(0), got)));
    return got > 0;
}

// False when a receiver deleted this client.
bool MsgSocketClient::emitCompleteFrames()
{
    QByteArray payload;
    if (!m_reader.takeFrame(&payload))
        return true;
    const QPointer<MsgSocketClient> self(this);
    do {
        Q_EMIT receivedInfos(payload);
        if (!self)
            return false;
    } while (m_reader.takeFrame(&payload));
    return true;
}
