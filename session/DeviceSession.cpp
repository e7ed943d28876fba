#include "DeviceSession.h"

#include "DeviceReplyPrivate.h"
#include "KVTServerMessageOldProxy.h"
#include "SessionCore.h"
#include "SessionLog.h"
#include "SpecialPackageRequest.h"

namespace {

// Belongs to the calling thread, since the session's may not be touched from there.
DeviceReply *refusedReply(const EquipmentAddress &address)
{
    DeviceReply *const reply = DeviceReplyPrivate::create(address, nullptr);
    DeviceReplyPrivate::of(reply)->settle(
        {SessionError::Code::WrongThread,
         QObject::tr("The session was called from another thread than its own.")});
    return reply;
}

} // namespace

DeviceSession::DeviceSession(QObject *parent)
    : QObject(parent)
    , m_core(std::make_unique<SessionCore>(this))
{
    qRegisterMetaType<SessionError>();
    qRegisterMetaType<DeviceBroadcast>();
}

DeviceSession::~DeviceSession() = default;

bool DeviceSession::open(const SessionOptions &options)
{
    return isOnOwnThread(this, "DeviceSession::open") && m_core->open(options);
}

void DeviceSession::close()
{
    if (isOnOwnThread(this, "DeviceSession::close"))
        m_core->close();
}

DeviceSession::State DeviceSession::state() const
{
    return isOnOwnThread(this, "DeviceSession::state") ? m_core->state() : State::Closed;
}

SessionError DeviceSession::lastError() const
{
    if (isOnOwnThread(this, "DeviceSession::lastError"))
        return m_core->lastError();
    return {SessionError::Code::WrongThread,
            tr("The session was called from another thread than its own.")};
}

QString DeviceSession::serverVersion() const
{
    return isOnOwnThread(this, "DeviceSession::serverVersion") ? m_core->serverVersion()
                                                               : QString();
}

QMap<QString, EquipmentInfo> DeviceSession::equipmentTable() const
{
    if (!isOnOwnThread(this, "DeviceSession::equipmentTable"))
        return {};
    return m_core->equipmentTable();
}

DeviceReply *DeviceSession::read(const EquipmentAddress &address, int length, int timeoutMs)
{
    if (!isOnOwnThread(this, "DeviceSession::read"))
        return refusedReply(address);
    return m_core->read(address, length, timeoutMs);
}

DeviceReply *DeviceSession::write(const EquipmentAddress &address, const QByteArray &data,
                                  int timeoutMs)
{
    if (!isOnOwnThread(this, "DeviceSession::write"))
        return refusedReply(address);
    return m_core->write(address, data, timeoutMs);
}

bool DeviceSession::connectController(const QString &name)
{
    if (!isOnOwnThread(this, "DeviceSession::connectController"))
        return false;
    if (name.isEmpty())
        return m_core->refuse(
            {SessionError::Code::InvalidArgument, tr("The name of the controller is empty.")});
    return m_core->command(
        [name](KVTServerMessageOldProxy *proxy) { proxy->ConnectController(name); });
}

bool DeviceSession::connectAllControllers()
{
    return isOnOwnThread(this, "DeviceSession::connectAllControllers")
        && m_core->command([](KVTServerMessageOldProxy *proxy) { proxy->ConnectController(); });
}

bool DeviceSession::cancelRequests(const QString &key)
{
    if (!isOnOwnThread(this, "DeviceSession::cancelRequests"))
        return false;
    if (key.isEmpty())
        return m_core->refuse(
            {SessionError::Code::InvalidArgument, tr("The connection key is empty.")});
    return m_core->command(
        [key](KVTServerMessageOldProxy *proxy) { proxy->CancelServerSend(key); });
}

bool DeviceSession::cancelAllRequests()
{
    return isOnOwnThread(this, "DeviceSession::cancelAllRequests")
        && m_core->command([](KVTServerMessageOldProxy *proxy) { proxy->CancelServerAllSend(); });
}

bool DeviceSession::sendOrder(const QByteArray &order)
{
    return isOnOwnThread(this, "DeviceSession::sendOrder")
        && m_core->command([order](KVTServerMessageOldProxy *proxy) {
               SpecialPackageRequest request;
               request.setOrder(order);
               proxy->SendRequestOrder(&request);
           });
}

bool DeviceSession::setAutoConnect(bool on)
{
    return isOnOwnThread(this, "DeviceSession::setAutoConnect")
        && m_core->command(
            [on](KVTServerMessageOldProxy *proxy) { proxy->SetAutoConnectSwitch(on); });
}
