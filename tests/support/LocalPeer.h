#ifndef LOCALPEER_H
#define LOCALPEER_H

#include <QByteArray>
#include <QList>
#include <QLocalServer>
#include <QPointer>

class QLocalSocket;

/// The other end of the local socket "tarnSver", in the test's own thread: a real listening socket
/// that keeps every byte it gets and sends what it is told to. It answers nothing by itself.
class LocalPeer : public QObject
{
    Q_OBJECT

public:
    LocalPeer();
    ~LocalPeer() override;

    bool isListening() const;
    /// Connections accepted so far.
    int connectionCount() const;
    /// Whether the newest connection stands.
    bool isConnected() const;

    /// All bytes received, over all connections.
    QByteArray received() const;
    /// The bodies of the complete frames received.
    QList<QByteArray> bodies() const;

    /// Writes \a bytes to the newest connection as they stand.
    void send(const QByteArray &bytes);
    /// Closes the newest connection.
    void disconnectPeer();
    /// Stops listening and closes all connections.
    void close();

private:
    void accept();

    QLocalServer m_server;
    QList<QPointer<QLocalSocket>> m_sockets;
    QByteArray m_received;
};

#endif
