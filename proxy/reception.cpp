#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "MessageBody.h"
#include "NotificationValue.h"
#include "NotifyStruct.h"

#include <QMutexLocker>

namespace {

constexpr int FirstReply = TarnEnum::ReplyReserved10;
constexpr int LastReply = TarnEnum::BroadcastReply;

} // namespace

void KVTServerMessageOldProxy::OnReceiveMessage(QByteArray infos)
{
    if (infos.isEmpty())
        return;
    const int id = MessageBody::id(infos);
    const bool isReply = id >= FirstReply && id <= LastReply;
    guardedTwice([&] {
        if (isReply && packageType() == TarnEnum::ByteArrayPackage)
            dispatch(id, QLatin1String(""), MessageBody::bytes(infos));
        else
            dispatch(id, MessageBody::text(infos), QByteArray());
    });
}

bool KVTServerMessageOldProxy::ReceivedMessage(int id, QString info, QByteArray byteInfo)
{
    return guarded([&] { return dispatch(id, info, byteInfo); }, false);
}

// What memory may run out for comes before what cannot be done twice.
bool KVTServerMessageOldProxy::dispatch(int id, const QString &info, const QByteArray &byteInfo)
{
    if (static_cast<quint32>(id) > TarnEnum::Reserved22)
        return false;
    switch (id) {
    case TarnEnum::RegisterSuccess:
        loadRegistration(info);
        return true;
    case TarnEnum::Unregistered:
    case TarnEnum::RegisterRejected:
        dropRegistration();
        return true;
    case TarnEnum::RegisterError: {
        auto args = std::make_unique<NotifyRegisterErrorEventArgs>();
        args->setErrInfo(QString::number(id));
        dropRegistration();
        OnNotifyRegisterErr(this, args.release());
        return true;
    }
    case TarnEnum::ServerAlive:
        m_nIdleCount = 0;
        return true;
    case TarnEnum::BeginConnectEquipment: {
        m_nIdleCount = 0;
        ConnectEquipmentEventArgs args;
        args.setPortNam(info);
        OnBeginConnectEquipment(this, &args);
        return true;
    }
    case TarnEnum::BeginConnectAllController:
        m_nIdleCount = 0;
        OnBeginConnectAllController(this, new EventArgs(NotificationValue));
        return true;
    case TarnEnum::CompleteConnectAllController:
        m_nIdleCount = 0;
        readEquipmentTable(info);
        // No argument object: its delivery neither reads nor frees one.
        OnCompleteConnectAllControllerr(this, nullptr);
        return true;
    case TarnEnum::EquipmentChange:
        m_nIdleCount = 0;
        readEquipmentTable(info);
        guarded([this] { Q_EMIT EquipmentChangeEvent(this, EventArgs(NotificationValue)); });
        return true;
    case TarnEnum::Reserved6:
    case TarnEnum::Reserved22:
        return true; // accepted without any effect, so that a server may send them
    default:
        break;
    }
    if (id < FirstReply || id > LastReply)
        return false;
    m_nIdleCount = 0;
    enqueueReply(id, info, byteInfo);
    return true;
}

void KVTServerMessageOldProxy::loadRegistration(const QString &info)
{
    const int comma = info.lastIndexOf(QLatin1Char(','));
    m_strServerVer = comma < 0 ? QLatin1String("") : info.mid(comma + 1);
    setRegisted(true);
    readEquipmentTable(info.mid(0, comma)); // -1 takes the whole text: a table without a version
    m_nIdleCount = 0;
}

void KVTServerMessageOldProxy::dropRegistration()
{
    m_nIdleCount = 0;
    setRegisted(false);
    m_strServerVer = QLatin1String("");
    clearEquipmentTable();
}

void KVTServerMessageOldProxy::enqueueReply(int id, const QString &info, const QByteArray &byteInfo)
{
    auto item = std::make_unique<NotifyStruct>();
    item->setInfo(info);
    item->setByteArrayInfo(byteInfo);
    item->setNotify(static_cast<TarnEnum::NotifyTypes>(id));
    enqueueNotification(std::move(item));
}

void KVTServerMessageOldProxy::enqueueNotification(std::unique_ptr<NotifyStruct> item)
{
    const QMutexLocker locker(&m_notifyMutex);
    m_notifyList.append(item.get());
    static_cast<void>(item.release());
    m_notifyCount = m_notifyList.size();
    m_notifyCondition.wakeAll();
}

bool KVTServerMessageOldProxy::GetInfo(QString info, QString *out)
{
    const int close = info.indexOf(QLatin1Char('>'));
    if (close < 0)
        return false;
    return guarded([&] {
        const QString first = info.left(close);
        *out = first.mid(0, first.lastIndexOf(QLatin1Char('<')));
    });
}
