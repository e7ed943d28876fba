// The requests and commands of SessionCore.
#include "SessionCore.h"

#include "DeviceReplyPrivate.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "ServerLink.h"
#include "SessionLog.h"

#include <QPointer>

namespace {

void setHeader(PackageBase *package, const EquipmentAddress &address, int timeoutMs)
{
    package->setServerConnectionKey(address.key);
    package->setHighAddr(static_cast<quint16>(address.address >> 16));
    package->setLowAddr(static_cast<quint16>(address.address & 0xFFFF));
    package->setPortAddr(address.port);
    package->setScanBoardAddr(address.scanBoard);
    package->setDeviceType(address.deviceType);
    package->setTimeout(timeoutMs);
}

} // namespace

DeviceReply *SessionCore::read(const EquipmentAddress &address, int length, int timeoutMs)
{
    DeviceReply *reply = nullptr;
    attemptTo([&] {
        SessionError problem = problemOf(address, length, timeoutMs);
        if (!problem && length < 1)
            problem = {SessionError::Code::InvalidArgument, tr("A read takes at least 1 byte.")};
        reply = request(address, timeoutMs, problem, [length] {
            auto package = std::make_unique<PackageRequestReadData>();
            package->setReadLength(length);
            return package;
        });
        return true;
    });
    return reply;
}

DeviceReply *SessionCore::write(const EquipmentAddress &address, const QByteArray &data,
                                int timeoutMs)
{
    DeviceReply *reply = nullptr;
    attemptTo([&] {
        reply = request(address, timeoutMs, problemOf(address, data.size(), timeoutMs), [data] {
            auto package = std::make_unique<PackageRequestWriteData>();
            package->setData(data);
            return package;
        });
        return true;
    });
    return reply;
}

bool SessionCore::queueCommand(const std::function<bool(KVTServerMessageOldProxy *)> &operation)
{
    if (m_state != State::Ready)
        return refuse(notReady());
    m_pacer.add([this, operation] {
        m_link->command(operation);
        return true;
    });
    return true;
}

SessionError SessionCore::problemOf(const EquipmentAddress &address, qint64 length,
                                    int timeoutMs) const
{
    const auto invalid = SessionError::Code::InvalidArgument;
    if (address.key.isEmpty())
        return {invalid, tr("The connection key is empty.")};
    if (length > DeviceSession::MaxRequestBytes)
        return {invalid,
                tr("One request carries at most %1 bytes, not %2: use DeviceTransfer.")
                    .arg(DeviceSession::MaxRequestBytes)
                    .arg(length)};
    if (!address.isFollowedBy(length))
        return {invalid, tr("The range leaves the 32-bit addresses.")};
    if (timeoutMs < 1 && timeoutMs != DeviceSession::DefaultTimeout)
        return {invalid, tr("The time-out must be at least 1 ms, not %1.").arg(timeoutMs)};
    return SessionError();
}

SessionError SessionCore::notReady() const
{
    return {SessionError::Code::NotReady,
            m_state == State::Closed ? tr("The session is closed.")
                                     : tr("The session is not connected to the server yet.")};
}

DeviceReply *SessionCore::request(const EquipmentAddress &address, int timeoutMs,
                                  const SessionError &problem, const PackageMaker &makePackage)
{
    std::unique_ptr<DeviceReply> reply(DeviceReplyPrivate::create(address, m_session));
    DeviceReplyPrivate *const settling = DeviceReplyPrivate::of(reply.get());
    if (problem || m_state != State::Ready) {
        settling->settle(problem ? problem : notReady());
        return reply.release();
    }
    const int timeout
        = timeoutMs == DeviceSession::DefaultTimeout ? m_options.requestTimeoutMs : timeoutMs;
    settling->startTimeout(timeout);
    m_replies.add(settling);
    m_pacer.add([this, makePackage, timeout, waiting = QPointer<DeviceReplyPrivate>(settling)] {
        if (!waiting || waiting->isSettled())
            return false;
        send(waiting, timeout, makePackage);
        return true;
    });
    return reply.release();
}

void SessionCore::send(DeviceReplyPrivate *reply, int timeoutMs, const PackageMaker &makePackage)
{
    const auto sendPackage = [&] {
        std::unique_ptr<PackageBase> package = makePackage();
        setHeader(package.get(), reply->address(), timeoutMs);
        m_replies.setSerialNumber(reply, package->getSerialNum());
        return m_link->send(std::move(package));
    };
    if (!guarded(sendPackage, false))
        reply->settle(SessionError::outOfMemory());
}

void SessionCore::onAnswered(quint64 serialNumber, TarnEnum::CommResults result,
                             const QByteArray &data)
{
    DeviceReplyPrivate *const reply = m_replies.find(serialNumber);
    if (reply == nullptr)
        return; // too late, or not asked for
    const SessionError error = SessionError::ofDevice(result, reply->address().key);
    reply->settle(error, error ? QByteArray() : data);
}
