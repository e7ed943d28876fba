#include "DeviceReply.h"

#include "DeviceReplyPrivate.h"
#include "SessionLog.h"

DeviceReply::DeviceReply(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DeviceReplyPrivate>(this))
{ }

DeviceReply::~DeviceReply()
{
    d->giveUp();
}

bool DeviceReply::isFinished() const
{
    return d->isFinished();
}

SessionError::Code DeviceReply::error() const
{
    return d->error().code;
}

QString DeviceReply::errorString() const
{
    return d->error().text;
}

SessionError DeviceReply::sessionError() const
{
    return d->error();
}

QByteArray DeviceReply::data() const
{
    return d->data();
}

quint64 DeviceReply::serialNumber() const
{
    return d->serialNumber();
}

EquipmentAddress DeviceReply::address() const
{
    return d->address();
}

qint64 DeviceReply::elapsed() const
{
    return d->elapsed();
}

void DeviceReply::abort()
{
    if (isOnOwnThread(this, "DeviceReply::abort"))
        d->settle({SessionError::Code::Aborted, tr("The request was aborted.")});
}
