#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "PackageRequestReadData.h"
#include "PackageText.h"

#include <QMutexLocker>

#include <typeinfo>

namespace {

void copyHeader(const PackageBase &from, PackageBase *to)
{
    to->setHighAddr(from.getHighAddr());
    to->setLowAddr(from.getLowAddr());
    to->setDesAddr(from.getDesAddr());
    to->setDeviceType(from.getDeviceType());
    to->setPortAddr(from.getPortAddr());
    to->setServerConnectionKey(from.getSeverConnectionKey());
    to->setReserved2(from.getReserved2());
    to->setScanBoardAddr(from.getScanBoardAddr());
    to->setScrAddr(from.getScrAddr());
    to->setTag(from.getTag());
    to->setTimeout(from.getTimeout());
    to->setUserToken(from.getUserToken());
}

} // namespace

PackageBase *KVTServerMessageOldProxy::ParseCompleteRequest(QString text,
                                                            TarnEnum::NotifyTypes type)
{
    return guarded([&] { return PackageText::read(text, type).release(); },
                   static_cast<PackageBase *>(nullptr));
}

PackageBase *KVTServerMessageOldProxy::ParseCompleteRequest(QByteArray bytes,
                                                            TarnEnum::NotifyTypes type)
{
    Q_UNUSED(bytes)
    Q_UNUSED(type)
    Log::critical("KVTServerMessageOldProxy::ParseCompleteRequest QByteArray not spport");
    return nullptr;
}

void KVTServerMessageOldProxy::FillReplyDataToPackage(PackageBase *reply, PackageBase *request)
{
    // By exact type: a class of the application's own that derives from it keeps its data.
    const bool takesData = typeid(*request) == typeid(PackageRequestReadData);
    if (reply == nullptr)
        return;
    if (takesData) {
        static_cast<PackageRequestReadData *>(request)->setReplyDataLength(reply->getDataLength());
        request->setData(reply->getData());
    }
    copyHeader(*request, reply);
}

PackageBase *KVTServerMessageOldProxy::MatchRequest(unsigned int serialNumber)
{
    const QMutexLocker locker(&m_requestMutex);
    for (PackageBase *const request : qAsConst(m_requestList)) {
        // A command leaves a null in the list; it has no number to match.
        if (request != nullptr && request->getSerialNum() == serialNumber)
            return request;
    }
    return nullptr;
}
