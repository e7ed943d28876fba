#include "DeviceSession.h"

#include "DeviceReplyPrivate.h"
#include "Guarded.h"
#include "KVTServerMessageOldProxy.h"
#include "OwnThread.h"
#include "SessionCore.h"
#include "SpecialPackageRequest.h"

namespace {

// Belongs to the calling thread, since the session's may not be touched from there.
DeviceReply *refusedReply(const EquipmentAddress &address)
{
    DeviceReply *const reply = guarded([&] { return DeviceReplyPrivate::create(address, nullptr); },
                                       static_cast<DeviceReply *>(nullptr));
    if (reply != nullptr)
        DeviceReplyPrivate::of(reply)->settle(OwnThread::error());
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
    return OwnThread::isCallers(m_core.get(), "DeviceSession::open")
        && m_core->attemptTo([&] { return m_core->open(options); });
}

void DeviceSession::close()
{
    if (OwnThread::isCallers(m_core.get(), "DeviceSession::close"))
        m_core->close();
}

DeviceSession::State DeviceSession::state() const
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::state") ? m_core->state()
                                                                      : State::Closed;
}

SessionError DeviceSession::lastError() const
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::lastError") ? m_core->lastError()
                                                                          : OwnThread::error();
}

QString DeviceSession::serverVersion() const
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::serverVersion")
        ? m_core->serverVersion()
        : QString();
}

QMap<QString, EquipmentInfo> DeviceSession::equipmentTable() const
{
    if (!OwnThread::isCallers(m_core.get(), "DeviceSession::equipmentTable"))
        return {};
    return m_core->equipmentTable();
}

DeviceReply *DeviceSession::read(const EquipmentAddress &address, int length, int timeoutMs)
{
    if (!OwnThread::isCallers(m_core.get(), "DeviceSession::read"))
        return refusedReply(address);
    return m_core->read(address, length, timeoutMs);
}

DeviceReply *DeviceSession::write(const EquipmentAddress &address, const QByteArray &data,
                                  int timeoutMs)
{
    if (!OwnThread::isCallers(m_core.get(), "DeviceSession::write"))
        return refusedReply(address);
    return m_core->write(address, data, timeoutMs);
}

bool DeviceSession::connectController(const QString &name)
{
    if (!OwnThread::isCallers(m_core.get(), "DeviceSession::connectController"))
        return false;
    if (name.isEmpty())
        return m_core->refuse(SessionError::Code::InvalidArgument,
                              QT_TR_NOOP("The name of the controller is empty."));
    return m_core->command(
        [name](KVTServerMessageOldProxy *proxy) { return proxy->ConnectController(name); });
}

bool DeviceSession::connectAllControllers()
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::connectAllControllers")
        && m_core->command(
            [](KVTServerMessageOldProxy *proxy) { return proxy->ConnectController(); });
}

bool DeviceSession::cancelRequests(const QString &key)
{
    if (!OwnThread::isCallers(m_core.get(), "DeviceSession::cancelRequests"))
        return false;
    if (key.isEmpty())
        return m_core->refuse(SessionError::Code::InvalidArgument,
                              QT_TR_NOOP("The connection key is empty."));
    return m_core->command(
        [key](KVTServerMessageOldProxy *proxy) { return proxy->CancelServerSend(key); });
}

bool DeviceSession::cancelAllRequests()
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::cancelAllRequests")
        && m_core->command(
            [](KVTServerMessageOldProxy *proxy) { return proxy->CancelServerAllSend(); });
}

bool DeviceSession::sendOrder(const QByteArray &order)
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::sendOrder")
        && m_core->command([order](KVTServerMessageOldProxy *proxy) {
               SpecialPackageRequest request;
               request.setOrder(order);
               return proxy->SendRequestOrder(&request);
           });
}

bool DeviceSession::setAutoConnect(bool on)
{
    return OwnThread::isCallers(m_core.get(), "DeviceSession::setAutoConnect")
        && m_core->command(
            [on](KVTServerMessageOldProxy *proxy) { return proxy->SetAutoConnectSwitch(on); });
}
