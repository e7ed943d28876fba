#ifndef HOSTILESERVER_H
#define HOSTILESERVER_H

#include "RawSocket.h"

#include <QByteArray>
#include <QList>

/// A device server at the local socket "tarnSver" that never waits, keeps no rules and answers
/// nothing by itself.
class HostileServer
{
public:
    HostileServer() = default;
    ~HostileServer();

    void listen();
    /// Connections are refused until it listens again; the one that stands stays.
    void stopListening();
    bool isListening() const;

    /// Takes the newest connection, in place of the one before, and reads what has come.
    void poll();
    void closeConnection();

    /// To the newest connection, as much as there is room for.
    void send(const QByteArray &bytes);
    /// A message that the client has sent over the newest connection: the oldest that was not taken
    /// yet. Empty when there is none.
    QByteArray takeMessage();
    void forgetMessages();

    /// Whether all that was sent over the newest connection are whole messages.
    bool isBetweenMessages() const;

private:
    Q_DISABLE_COPY_MOVE(HostileServer)

    int m_listener = -1;
    RawSocket m_connection;
    int m_taken = 0; // bytes
    QByteArray m_sent;
};

#endif
