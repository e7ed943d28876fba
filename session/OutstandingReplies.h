#ifndef OUTSTANDINGREPLIES_H
#define OUTSTANDINGREPLIES_H

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QSet>

class DeviceReplyPrivate;
class SessionError;

/// The replies that are not settled yet and, of those whose request has left, by which serial
/// number they are known. A reply that is settled elsewhere or deleted leaves by itself.
class OutstandingReplies : public QObject
{
    Q_OBJECT

public:
    void add(DeviceReplyPrivate *reply);
    /// From now on replies with that number are meant for \a reply.
    void setSerialNumber(DeviceReplyPrivate *reply, quint64 serialNumber);

    /// The reply with that number; null when nobody waits for it any more.
    DeviceReplyPrivate *find(quint64 serialNumber) const;
    void settleAll(const SessionError &error);

private:
    void remove(DeviceReplyPrivate *reply);

    QSet<DeviceReplyPrivate *> m_replies;
    QHash<quint64, DeviceReplyPrivate *> m_bySerialNumber;
};

#endif
