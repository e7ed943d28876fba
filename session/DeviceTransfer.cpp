#include "DeviceTransfer.h"

#include "DeviceSession.h"
#include "DeviceTransferPrivate.h"
#include "SessionLog.h"

namespace {

using Phase = DeviceTransferPrivate::Phase;

} // namespace

DeviceTransfer::DeviceTransfer(DeviceSession *session, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DeviceTransferPrivate>(this, session))
{ }

DeviceTransfer::~DeviceTransfer() = default;

void DeviceTransfer::setChunkBytes(int bytes)
{
    if (isOnOwnThread(this, "DeviceTransfer::setChunkBytes")
        && d->isIdle("DeviceTransfer::setChunkBytes"))
        d->chunkBytes = bytes;
}

void DeviceTransfer::setWindow(int requests)
{
    if (isOnOwnThread(this, "DeviceTransfer::setWindow") && d->isIdle("DeviceTransfer::setWindow"))
        d->window = requests;
}

void DeviceTransfer::setRequestTimeout(int milliseconds)
{
    if (isOnOwnThread(this, "DeviceTransfer::setRequestTimeout")
        && d->isIdle("DeviceTransfer::setRequestTimeout"))
        d->timeoutMs = milliseconds;
}

void DeviceTransfer::setVerifying(bool on)
{
    if (isOnOwnThread(this, "DeviceTransfer::setVerifying")
        && d->isIdle("DeviceTransfer::setVerifying"))
        d->isVerifying = on;
}

void DeviceTransfer::read(const EquipmentAddress &address, int length)
{
    if (isOnOwnThread(this, "DeviceTransfer::read") && d->isIdle("DeviceTransfer::read"))
        d->startReading(address, length);
}

void DeviceTransfer::write(const EquipmentAddress &address, const QByteArray &data)
{
    if (isOnOwnThread(this, "DeviceTransfer::write") && d->isIdle("DeviceTransfer::write"))
        d->start(Phase::Writing, address, data);
}

void DeviceTransfer::abort()
{
    if (isOnOwnThread(this, "DeviceTransfer::abort"))
        d->end({SessionError::Code::Aborted, tr("The transfer was aborted.")});
}

bool DeviceTransfer::isFinished() const
{
    return d->isFinished;
}

SessionError::Code DeviceTransfer::error() const
{
    return d->error.code;
}

QString DeviceTransfer::errorString() const
{
    return d->error.text;
}

SessionError DeviceTransfer::sessionError() const
{
    return d->error;
}

QByteArray DeviceTransfer::data() const
{
    return d->data.left(d->transferredBytes);
}

int DeviceTransfer::transferredBytes() const
{
    return d->transferredBytes;
}

int DeviceTransfer::verifiedBytes() const
{
    return d->verifiedBytes;
}
