#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "NotifyStruct.h"
#include "PackageRequestCombination.h"
#include "PackageRequestWriteMemData.h"
#include "SpecialPackageRequest.h"

#include <QMutexLocker>

bool KVTServerMessageOldProxy::SendCommand(TarnEnum::MessageIDs id, QString info)
{
    return guarded([&] {
        auto entry = std::make_unique<NotifyStruct>();
        entry->setSendID(id);
        entry->setInfo(info);
        entry->setByteArrayInfo(info.toUtf8());
        enqueueOutgoing(std::move(entry));
    });
}

void KVTServerMessageOldProxy::enqueueOutgoing(std::unique_ptr<NotifyStruct> entry)
{
    const QMutexLocker locker(&m_sendMutex);
    m_sendList.append(entry.get());
    static_cast<void>(entry.release());
    m_sendCount = m_sendList.size();
    m_sendCondition.wakeAll();
}

bool KVTServerMessageOldProxy::sendWhenRegistered(TarnEnum::MessageIDs id, const QString &info)
{
    return isRegisted() && SendCommand(id, info);
}

bool KVTServerMessageOldProxy::ConnectController()
{
    return sendWhenRegistered(TarnEnum::ConnectAllControllers, QLatin1String(""));
}

bool KVTServerMessageOldProxy::ConnectController(const QString &name)
{
    return !name.isEmpty() && sendWhenRegistered(TarnEnum::ConnectOneController, name);
}

bool KVTServerMessageOldProxy::CancelServerAllSend()
{
    return sendWhenRegistered(TarnEnum::CancelAllSends, QLatin1String(""));
}

bool KVTServerMessageOldProxy::CancelServerSend(const QString &connectionKey)
{
    return sendWhenRegistered(TarnEnum::CancelOneSend, connectionKey);
}

bool KVTServerMessageOldProxy::SendRequestOrder(SpecialPackageRequest *request)
{
    if (!isRegisted())
        return false;
    return guarded(
        [&] {
            const QByteArray bytes = request->toByteArray();
            const auto length
                = static_cast<int>(qstrnlen(bytes.constData(), static_cast<uint>(bytes.size())));
            return SendCommand(TarnEnum::SendOrder, QString::fromUtf8(bytes.constData(), length));
        },
        false);
}

bool KVTServerMessageOldProxy::SetAutoConnectSwitch(bool on)
{
    return sendWhenRegistered(TarnEnum::AutoConnectSwitch,
                              on ? QStringLiteral("True") : QStringLiteral("False"));
}

bool KVTServerMessageOldProxy::makeDeviceExclusive(const QString &port, const int &baudRate,
                                                   bool &exclusive)
{
    Q_UNUSED(port)
    Q_UNUSED(baudRate)
    SetAutoConnectSwitch(exclusive);
    // Names sendPacketData: applications' log filters know this line, whichever call wrote it.
    Log::critical("KVTServerMessageOldProxy::sendPacketData not support");
    return true;
}

// Not supported: the caller learns it from the log and a fixed result. The package is neither sent
// nor taken over, so it stays usable.

bool KVTServerMessageOldProxy::SendRequestReadFile(PackageRequestReadFile *package)
{
    Q_UNUSED(package)
    Log::critical("KVTServerMessageOldProxy::SendRequestReadFile not support");
    return false;
}

bool KVTServerMessageOldProxy::SendRequestReadMemData(PackageRequestReadMemData *package)
{
    Q_UNUSED(package)
    Log::critical("KVTServerMessageOldProxy::SendRequestReadMemData not support");
    return false;
}

bool KVTServerMessageOldProxy::SendRequestWriteFile(PackageRequestWriteFile *package)
{
    Q_UNUSED(package)
    Log::critical("KVTServerMessageOldProxy::SendRequestWriteFile not support");
    return false;
}

bool KVTServerMessageOldProxy::SendRequestWriteMemData(PackageRequestWriteMemData package)
{
    Q_UNUSED(package)
    Log::critical("KVTServerMessageOldProxy::SendRequestWriteMemData not support");
    return false;
}

bool KVTServerMessageOldProxy::SendCombinationRequest(PackageRequestCombination package)
{
    Q_UNUSED(package)
    Log::critical("KVTServerMessageOldProxy::SendCombinationRequest not support");
    return false;
}

bool KVTServerMessageOldProxy::SendStartRequestSpecialPacke(SpecialPackageRequest *package,
                                                            int *result)
{
    Q_UNUSED(package)
    return refuseSpecialPackage(
        "KVTServerMessageOldProxy::SendStartRequestSpecialPacke not support", result);
}

bool KVTServerMessageOldProxy::SendEndRequestSpecialPacke(SpecialPackageRequest *package,
                                                          int *result)
{
    Q_UNUSED(package)
    return refuseSpecialPackage("KVTServerMessageOldProxy::SendEndRequestSpecialPacke not support",
                                result);
}

// True although nothing was done: applications go on with their sequence and read the result.
bool KVTServerMessageOldProxy::refuseSpecialPackage(const char *text, int *result)
{
    if (!isRegisted())
        return false;
    Log::critical(text);
    if (result != nullptr)
        *result = 1;
    return true;
}

bool KVTServerMessageOldProxy::changebaudRate(const QString &port, const unsigned long &baudRate)
{
    Q_UNUSED(port)
    Q_UNUSED(baudRate)
    Log::critical("KVTServerMessageOldProxy::changebaudRate not support");
    return true;
}

void KVTServerMessageOldProxy::sendPacketData(const QByteArray &data, int length)
{
    Q_UNUSED(data)
    Q_UNUSED(length)
    Log::critical("KVTServerMessageOldProxy::sendPacketData not support");
}
