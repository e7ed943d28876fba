#ifndef RAWCLIENT_H
#define RAWCLIENT_H

#include <QByteArray>
#include <QList>
#include <QLocalSocket>
#include <QMap>

/// A client that talks bytes to the server over a real socket, with nothing of the library.
class RawClient : public QObject
{
    Q_OBJECT

public:
    RawClient();

    bool connectToServer();
    bool isConnected() const;

    /// Writes \a bytes as they stand.
    void sendBytes(const QByteArray &bytes);
    /// Writes one message.
    void send(int id, const QByteArray &text = QByteArray());

    /// Everything that has arrived, and in what pieces it was read.
    QByteArray received() const;
    QList<QByteArray> pieces() const;
    int receivedBytes() const;
    QList<QByteArray> bodies() const;
    /// The texts of the messages with that identifier, in order.
    QList<QByteArray> texts(int id) const;
    /// How many messages with that identifier have arrived.
    int count(int id) const;
    /// The identifiers that have arrived, without the heartbeats and empty bodies.
    QList<int> ids() const;
    /// Forgets what has arrived.
    void clear();

    /// Registers and waits for the confirmation.
    bool registerAtServer();

    QLocalSocket &socket();

private:
    QLocalSocket m_socket;
    QByteArray m_received;
    QList<QByteArray> m_pieces;
};

/// A request text with these fields, in this order.
QByteArray fieldText(const QList<QPair<QByteArray, QByteArray>> &fields);

/// The fields of a request or reply text.
QMap<QByteArray, QByteArray> fieldsOf(const QByteArray &text);

#endif
