#include "DeviceRequest.h"

#include "EquipmentRack.h"
#include "PackageRequestReadData.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteFile.h"
#include "PackageRequestWriteMemData.h"

namespace {

constexpr int FirstRequest = TarnEnum::RequestReadData;
constexpr int LastRequest = TarnEnum::RequestWriteMemData;

} // namespace

bool DeviceRequest::isRequest(int messageId)
{
    return messageId >= FirstRequest && messageId <= LastRequest;
}

std::unique_ptr<DeviceRequest> DeviceRequest::read(int messageId, const QString &text)
{
    std::unique_ptr<PackageBase> package = newPackage(messageId);
    package->fromString(text);
    if (package->getCommResult() == TarnEnum::BadReply)
        return nullptr;
    return std::unique_ptr<DeviceRequest>(new DeviceRequest(messageId, std::move(package)));
}

std::unique_ptr<PackageBase> DeviceRequest::newPackage(int messageId)
{
    switch (messageId) {
    case TarnEnum::RequestReadData:
        return std::make_unique<PackageRequestReadData>();
    case TarnEnum::RequestReadFile:
        return std::make_unique<PackageRequestReadFile>();
    case TarnEnum::RequestReadMemData:
        return std::make_unique<PackageRequestReadMemData>();
    case TarnEnum::RequestWriteData:
        return std::make_unique<PackageRequestWriteData>();
    case TarnEnum::RequestWriteFile:
        return std::make_unique<PackageRequestWriteFile>();
    default:
        return std::make_unique<PackageRequestWriteMemData>();
    }
}

DeviceRequest::DeviceRequest(int messageId, std::unique_ptr<PackageBase> package)
    : m_messageId(messageId)
    , m_package(std::move(package))
{
    if (!isWrite())
        m_package->setData(QByteArray()); // what a read request may carry is not its answer
}

DeviceRequest::~DeviceRequest() = default;

void DeviceRequest::carryOut(EquipmentRack *rack)
{
    m_package->setCommResult(actOn(rack));
}

void DeviceRequest::cancel()
{
    m_package->setCommResult(TarnEnum::Cancelled);
}

TarnEnum::CommResults DeviceRequest::actOn(EquipmentRack *rack)
{
    if (m_messageId == TarnEnum::RequestReadFile || m_messageId == TarnEnum::RequestWriteFile)
        return TarnEnum::Rejected;
    EquipmentUnit *const unit = rack->find(connectionKey());
    if (unit == nullptr)
        return TarnEnum::NoEquipment;
    const TarnEnum::CommResults result = unit->takeResult();
    if (result != TarnEnum::Success)
        return result;
    EquipmentMemory *const memory = unit->memory();
    const EquipmentMemory::Place place{m_package->getPortAddr(), m_package->getScanBoardAddr(),
                                       quint32(m_package->getHighAddr()) << 16
                                           | m_package->getLowAddr()};
    if (isWrite())
        return memory->write(place, m_package->getData()) ? TarnEnum::Success : TarnEnum::Rejected;
    const int length = static_cast<PackageRequestRead *>(m_package.get())->getReadLength();
    QByteArray data;
    if (length < 1 || !memory->read(place, length, &data))
        return TarnEnum::Rejected;
    m_package->setData(data);
    return TarnEnum::Success;
}

bool DeviceRequest::isWrite() const
{
    return m_messageId >= TarnEnum::RequestWriteData;
}

bool DeviceRequest::hasWritten() const
{
    return isWrite() && result() == TarnEnum::Success;
}

QString DeviceRequest::connectionKey() const
{
    return m_package->getSeverConnectionKey();
}

quint64 DeviceRequest::serialNumber() const
{
    return m_package->getSerialNum();
}

TarnEnum::CommResults DeviceRequest::result() const
{
    return m_package->getCommResult();
}

TarnEnum::NotifyTypes DeviceRequest::replyType() const
{
    return static_cast<TarnEnum::NotifyTypes>(TarnEnum::ReplyReadData + m_messageId - FirstRequest);
}

QString DeviceRequest::replyText() const
{
    if (!isWrite())
        return m_package->toReplyString();
    PackageBase answer(*m_package);
    answer.setData(QByteArray());
    return answer.toReplyString();
}

QString DeviceRequest::broadcastText() const
{
    return m_package->toReplyString() + QLatin1Char(',') + QString::number(replyType());
}
