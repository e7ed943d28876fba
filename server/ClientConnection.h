#ifndef CLIENTCONNECTION_H
#define CLIENTCONNECTION_H

#include "FrameReader.h"
#include "RequestQueue.h"

#include <QObject>
#include <QString>

class QLocalSocket;

/// One client of the server: cuts what it sends into message bodies, writes what it is sent, keeps
/// its waiting requests. What a client does wrong is logged and never harms the others: a frame
/// that is too long is passed over, and a client that does not read is dropped.
class ClientConnection : public QObject
{
    Q_OBJECT

public:
    /// Takes over the connected socket \a descriptor. \a number tells clients apart in the log.
    ClientConnection(qintptr descriptor, int number, int latencyMs);
    ~ClientConnection() override;

    QString name() const;
    RequestQueue *requests();

    /// Whether the server has confirmed its registration.
    bool isRegistered() const;
    void setRegistered(bool registered);

    /// Sends one message.
    void send(int id, const QString &text = QString());

    /// Blocks until everything sent has left or the client is gone; at most \a timeoutMs.
    void flush(int timeoutMs);

Q_SIGNALS:
    void bodyReceived(const QByteArray &body);
    /// The connection is gone; the client may be deleted with `deleteLater`.
    void closed();

private:
    void read();
    void passOverLongFrame();
    QByteArray withoutPassedOver(QByteArray bytes);

    QLocalSocket *m_socket;
    QString m_name;
    RequestQueue m_requests;
    FrameReader m_reader;
    qint64 m_bytesToPassOver = 0;
    bool m_isRegistered = false;
};

#endif
