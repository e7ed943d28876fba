#include "OutstandingReplies.h"

#include "DeviceReplyPrivate.h"

void OutstandingReplies::add(DeviceReplyPrivate *reply)
{
    m_replies.insert(reply);
    connect(reply, &DeviceReplyPrivate::settled, this, [this, reply] { remove(reply); });
}

void OutstandingReplies::setSerialNumber(DeviceReplyPrivate *reply, quint64 serialNumber)
{
    reply->setSerialNumber(serialNumber);
    m_bySerialNumber.insert(serialNumber, reply);
}

DeviceReplyPrivate *OutstandingReplies::find(quint64 serialNumber) const
{
    return m_bySerialNumber.value(serialNumber);
}

void OutstandingReplies::settleAll(const SessionError &error)
{
    const QSet<DeviceReplyPrivate *> replies = m_replies;
    for (DeviceReplyPrivate *const reply : replies)
        reply->settle(error);
}

void OutstandingReplies::remove(DeviceReplyPrivate *reply)
{
    m_replies.remove(reply);
    m_bySerialNumber.remove(reply->serialNumber());
}
