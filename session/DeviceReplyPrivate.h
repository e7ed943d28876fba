#ifndef DEVICEREPLYPRIVATE_H
#define DEVICEREPLYPRIVATE_H

#include "EquipmentAddress.h"
#include "SessionError.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class DeviceReply;

/// The side of a reply that faces the session: settles it once, whatever the cause, and then has
/// it emit `finished` from the event loop.
class DeviceReplyPrivate : public QObject
{
    Q_OBJECT

public:
    static DeviceReply *create(const EquipmentAddress &address, QObject *parent);
    static DeviceReplyPrivate *of(DeviceReply *reply);

    explicit DeviceReplyPrivate(DeviceReply *reply);

    /// Settles it as timed out unless that happens otherwise before.
    void startTimeout(int milliseconds);
    void setSerialNumber(quint64 serialNumber);

    /// Stores the outcome; a second call has no effect.
    void settle(const SessionError &error, const QByteArray &data = QByteArray());
    /// Settles without an outcome, since the reply is being deleted.
    void giveUp();

    bool isSettled() const;
    bool isFinished() const;
    const SessionError &error() const;
    QByteArray data() const;
    quint64 serialNumber() const;
    const EquipmentAddress &address() const;
    qint64 elapsed() const;

Q_SIGNALS:
    void settled();

private:
    void timeOut();
    void finish();

    DeviceReply *const m_reply;
    EquipmentAddress m_address;
    SessionError m_error;
    QByteArray m_data;
    quint64 m_serialNumber = 0;
    QElapsedTimer m_clock;
    qint64 m_elapsedMs = 0;
    QTimer m_timeout;
    bool m_isSettled = false;
    bool m_isFinished = false;
};

#endif
