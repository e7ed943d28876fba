#include "DeviceReply.h"

#include "DeviceReplyPrivate.h"
#include "Guarded.h"
#include "OwnThread.h"

DeviceReply::DeviceReply(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DeviceReplyPrivate>(this))
{ }

DeviceReply::~DeviceReply()
{
    d->giveUp();
    // A slot of `destroyed` may delete the session, which would delete this one again.
    setParent(nullptr);
}

bool DeviceReply::isFinished() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::isFinished") && d->isFinished();
}

SessionError::Code DeviceReply::error() const
{
    return sessionError().code;
}

QString DeviceReply::errorString() const
{
    return sessionError().text;
}

SessionError DeviceReply::sessionError() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::sessionError") ? d->error()
                                                                      : OwnThread::error();
}

QByteArray DeviceReply::data() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::data") ? d->data() : QByteArray();
}

quint64 DeviceReply::serialNumber() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::serialNumber") ? d->serialNumber() : 0;
}

EquipmentAddress DeviceReply::address() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::address") ? d->address()
                                                                 : EquipmentAddress();
}

qint64 DeviceReply::elapsed() const
{
    return OwnThread::isCallers(d.get(), "DeviceReply::elapsed") ? d->elapsed() : 0;
}

void DeviceReply::abort()
{
    if (OwnThread::isCallers(d.get(), "DeviceReply::abort"))
        d->settle(guarded(
            [] {
                return SessionError(SessionError::Code::Aborted, tr("The request was aborted."));
            },
            SessionError::outOfMemory()));
}
