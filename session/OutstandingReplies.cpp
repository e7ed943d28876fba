#include "OutstandingReplies.h"

#include "DeviceReplyPrivate.h"

#include <utility>

void OutstandingReplies::add(DeviceReplyPrivate *reply)
{
    // In this order: what is entered is sure to be taken out.
    connect(reply, &DeviceReplyPrivate::settled, this, [this, reply] { remove(reply); });
    m_replies.insert(reply);
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
    // Taken out as a whole: to remove one by one from what is being walked would need memory.
    const QSet<DeviceReplyPrivate *> replies = std::exchange(m_replies, {});
    for (DeviceReplyPrivate *const reply : replies)
        reply->settle(error);
}

void OutstandingReplies::remove(DeviceReplyPrivate *reply)
{
    m_replies.remove(reply);
    m_bySerialNumber.remove(reply->serialNumber());
}
