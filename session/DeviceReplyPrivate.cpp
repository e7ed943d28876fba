#include "DeviceReplyPrivate.h"

#include "DeviceReply.h"
#include "Later.h"

#include <memory>

DeviceReply *DeviceReplyPrivate::create(const EquipmentAddress &address, QObject *parent)
{
    // The parent afterwards: without memory for it, Qt's constructor spoils what its thread keeps.
    std::unique_ptr<DeviceReply> reply(new DeviceReply(nullptr));
    reply->d->m_address = address;
    reply->setParent(parent);
    return reply.release();
}

DeviceReplyPrivate *DeviceReplyPrivate::of(DeviceReply *reply)
{
    return reply->d.get();
}

DeviceReplyPrivate::DeviceReplyPrivate(DeviceReply *reply)
    : m_reply(reply)
{
    m_clock.start();
    m_timeout.setSingleShot(true);
    m_timeout.setTimerType(Qt::PreciseTimer);
    connect(&m_timeout, &QTimer::timeout, this, &DeviceReplyPrivate::timeOut);
}

void DeviceReplyPrivate::startTimeout(int milliseconds)
{
    Later::start(&m_timeout, milliseconds);
}

void DeviceReplyPrivate::setSerialNumber(quint64 serialNumber)
{
    m_serialNumber = serialNumber;
}

void DeviceReplyPrivate::settle(const SessionError &error, const QByteArray &data)
{
    if (m_isSettled)
        return;
    m_error = error;
    m_data = data;
    giveUp();
    // Bound to the reply: nothing comes when it is deleted first. Without memory for the signal the
    // outcome can be asked for all the same.
    m_isFinished = !Later::call(m_reply, [this] { finish(); });
}

void DeviceReplyPrivate::giveUp()
{
    if (m_isSettled)
        return;
    m_isSettled = true;
    m_elapsedMs = m_clock.elapsed();
    m_timeout.stop();
    Q_EMIT settled();
}

bool DeviceReplyPrivate::isSettled() const
{
    return m_isSettled;
}

bool DeviceReplyPrivate::isFinished() const
{
    return m_isFinished;
}

const SessionError &DeviceReplyPrivate::error() const
{
    return m_error;
}

QByteArray DeviceReplyPrivate::data() const
{
    return m_data;
}

quint64 DeviceReplyPrivate::serialNumber() const
{
    return m_serialNumber;
}

const EquipmentAddress &DeviceReplyPrivate::address() const
{
    return m_address;
}

qint64 DeviceReplyPrivate::elapsed() const
{
    return m_isSettled ? m_elapsedMs : m_clock.elapsed();
}

void DeviceReplyPrivate::timeOut()
{
    SessionError error = SessionError::outOfMemory();
    guarded([&] {
        error
            = {SessionError::Code::TimedOut,
               tr("No reply of \"%1\" within %2 ms.").arg(m_address.key).arg(m_timeout.interval())};
    });
    settle(error);
}

void DeviceReplyPrivate::finish()
{
    m_isFinished = true;
    Q_EMIT m_reply->finished();
}
