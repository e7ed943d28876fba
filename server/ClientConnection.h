#ifndef CLIENTCONNECTION_H
#define CLIENTCONNECTION_H

#include "FrameReader.h"
#include "RequestQueue.h"

#include <QObject>
#include <QString>

class QDeadlineTimer;
class QLocalSocket;

/// One client of the server: cuts what it sends into message bodies, writes what it is sent, keeps
/// its waiting requests. What a client does wrong is logged and never harms the others: a frame
/// that is too long is passed over; a client for whom much waits, as requests or as replies it has
/// not read, is not read from; and one that lets others' messages pile up is dropped.
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

    /// Blocks until everything sent has left, the client is gone or \a deadline is over.
    void flush(const QDeadlineTimer &deadline);

Q_SIGNALS:
    void bodyReceived(const QByteArray &body);
    /// The connection is gone; the client may be deleted with `deleteLater`.
    void closed();

private:
    void read();
    void serve();
    void goOn();
    bool isCongested() const;
    void passOverLongFrame();
    QByteArray withoutPassedOver(QByteArray bytes);

    QLocalSocket *m_socket;
    QString m_name;
    RequestQueue m_requests;
    FrameReader m_reader;
    qint64 m_bytesToPassOver = 0;
    bool m_isPaused = false;
    bool m_isRegistered = false;
};

#endif
