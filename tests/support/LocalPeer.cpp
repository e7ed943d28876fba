#include "LocalPeer.h"

#include "WireBytes.h"

#include <QLocalSocket>

LocalPeer::LocalPeer()
{
    connect(&m_server, &QLocalServer::newConnection, this, &LocalPeer::accept);
    QLocalServer::removeServer(QStringLiteral("tarnSver"));
    m_server.listen(QStringLiteral("tarnSver"));
}

LocalPeer::~LocalPeer()
{
    close();
}

bool LocalPeer::isListening() const
{
    return m_server.isListening();
}

int LocalPeer::connectionCount() const
{
    return m_sockets.size();
}

bool LocalPeer::isConnected() const
{
    return !m_sockets.isEmpty() && m_sockets.last()
        && m_sockets.last()->state() == QLocalSocket::ConnectedState;
}

QByteArray LocalPeer::received() const
{
    return m_received;
}

QList<QByteArray> LocalPeer::bodies() const
{
    return WireBytes::payloads(m_received);
}

void LocalPeer::send(const QByteArray &bytes)
{
    if (!isConnected())
        qFatal("nobody is connected to the test's peer");
    m_sockets.last()->write(bytes);
    m_sockets.last()->flush();
}

void LocalPeer::disconnectPeer()
{
    if (isConnected())
        m_sockets.last()->disconnectFromServer();
}

void LocalPeer::close()
{
    m_server.close();
    for (const QPointer<QLocalSocket> &socket : qAsConst(m_sockets))
        delete socket;
    m_sockets.clear();
}

void LocalPeer::accept()
{
    while (QLocalSocket *const socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this,
                [this, socket] { m_received += socket->readAll(); });
        m_sockets.append(socket);
    }
}
