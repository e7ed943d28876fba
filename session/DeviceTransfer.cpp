#include "DeviceTransfer.h"

#include "DeviceSession.h"
#include "DeviceTransferPrivate.h"
#include "OwnThread.h"

namespace {

using Phase = DeviceTransferPrivate::Phase;

} // namespace

DeviceTransfer::DeviceTransfer(DeviceSession *session, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DeviceTransferPrivate>(this, session))
{ }

DeviceTransfer::~DeviceTransfer()
{
    // A slot of `destroyed` may delete the session, which as its parent would delete this one
    // again.
    setParent(nullptr);
}

void DeviceTransfer::setChunkBytes(int bytes)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::setChunkBytes")
        && d->isIdle("DeviceTransfer::setChunkBytes"))
        d->chunkBytes = bytes;
}

void DeviceTransfer::setWindow(int requests)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::setWindow")
        && d->isIdle("DeviceTransfer::setWindow"))
        d->window = requests;
}

void DeviceTransfer::setRequestTimeout(int milliseconds)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::setRequestTimeout")
        && d->isIdle("DeviceTransfer::setRequestTimeout"))
        d->timeoutMs = milliseconds;
}

void DeviceTransfer::setVerifying(bool on)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::setVerifying")
        && d->isIdle("DeviceTransfer::setVerifying"))
        d->isVerifying = on;
}

void DeviceTransfer::read(const EquipmentAddress &address, int length)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::read") && d->isIdle("DeviceTransfer::read"))
        d->guardedWork([&] { d->startReading(address, length); });
}

void DeviceTransfer::write(const EquipmentAddress &address, const QByteArray &data)
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::write")
        && d->isIdle("DeviceTransfer::write"))
        d->guardedWork([&] { d->start(Phase::Writing, address, data); });
}

void DeviceTransfer::abort()
{
    if (OwnThread::isCallers(d.get(), "DeviceTransfer::abort"))
        d->guardedWork([this] {
            d->end({SessionError::Code::Aborted, tr("The transfer was aborted.")});
        });
}

bool DeviceTransfer::isFinished() const
{
    return OwnThread::isCallers(d.get(), "DeviceTransfer::isFinished") && d->isFinished;
}

SessionError::Code DeviceTransfer::error() const
{
    return sessionError().code;
}

QString DeviceTransfer::errorString() const
{
    return sessionError().text;
}

SessionError DeviceTransfer::sessionError() const
{
    return OwnThread::isCallers(d.get(), "DeviceTransfer::sessionError") ? d->error
                                                                         : OwnThread::error();
}

QByteArray DeviceTransfer::data() const
{
    if (!OwnThread::isCallers(d.get(), "DeviceTransfer::data"))
        return QByteArray();
    return guarded([this] { return d->data.left(d->transferredBytes); }, QByteArray());
}

int DeviceTransfer::transferredBytes() const
{
    return OwnThread::isCallers(d.get(), "DeviceTransfer::transferredBytes") ? d->transferredBytes
                                                                             : 0;
}

int DeviceTransfer::verifiedBytes() const
{
    return OwnThread::isCallers(d.get(), "DeviceTransfer::verifiedBytes") ? d->verifiedBytes : 0;
}
