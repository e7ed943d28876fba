#ifndef CLIENTCONNECTION_H
#define CLIENTCONNECTION_H

#include "FaultyWire.h"
#include "FrameReader.h"
#include "MessageCounts.h"
#include "RequestQueue.h"

#include <QObject>
#include <QString>

class FaultPlan;
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
    /// Takes over the connected socket \a descriptor. \a number tells clients apart. \a faults,
    /// which stays the caller's, befall what is sent.
    ClientConnection(qintptr descriptor, int number, FaultPlan *faults);
    ~ClientConnection() override;

    int number() const;
    QString name() const;
    RequestQueue *requests();

    /// Whether the server has confirmed its registration.
    bool isRegistered() const;
    void setRegistered(bool registered);

    /// Sends one message. \a key is that of the equipment it is about, if any.
    void send(int id, const QString &text = QString(), const QString &key = QString());
    /// Sends bytes as they stand.
    void sendBytes(const QByteArray &bytes);

    /// Neither reads nor writes for that long, until `release` when \a ms is 0.
    void stall(int ms);
    void release();
    bool isStalled() const;

    /// Ends the connection at once.
    void drop();

    /// Messages that have come from the client, and that were to go to it.
    const MessageCounts &received() const;
    const MessageCounts &sent() const;

    /// Hands what was sent to the system as far as it takes it.
    void push();
    /// Blocks until everything sent has left, the client is gone or \a deadline is over.
    void flush(const QDeadlineTimer &deadline);

Q_SIGNALS:
    void bodyReceived(const QByteArray &body);
    /// The connection is gone; the client may be deleted with `deleteLater`.
    void closed();

private:
    void write(const QByteArray &bytes);
    void read();
    void serve();
    void goOn();
    qint64 unsentBytes() const;
    void dropIfItDoesNotRead();
    bool isCongested() const;
    void passOverLongFrame();
    QByteArray withoutPassedOver(QByteArray bytes);

    QLocalSocket *m_socket;
    int m_number;
    FaultyWire m_wire;
    RequestQueue m_requests;
    MessageCounts m_received;
    MessageCounts m_sent;
    FrameReader m_reader;
    qint64 m_bytesToPassOver = 0;
    bool m_isPaused = false;
    bool m_isRegistered = false;
};

#endif
