#include "PackageBase.h"

#include "Guarded.h"
#include "PackageByteForm.h"
#include "PackageFields.h"
#include "PackageTextForm.h"

#include <atomic>
#include <utility>

namespace {

quint64 nextSerialNum()
{
    static std::atomic<quint64> counter{0};
    return ++counter;
}

} // namespace

PackageBase::PackageBase()
    : PackageBase(UnknownReadWriteCode, 0)
{ }

PackageBase::PackageBase(int readWriteCode, int clientPackageType)
    : m_fields(std::make_unique<PackageFields>())
{
    m_fields->serialNum = nextSerialNum();
    m_fields->readWriteCode = readWriteCode;
    m_fields->clientPackageType = clientPackageType;
}

PackageBase::PackageBase(const PackageBase &other)
    : QObject()
    , m_fields(std::make_unique<PackageFields>(*other.m_fields))
{ }

PackageBase &PackageBase::operator=(const PackageBase &other)
{
    PackageFields fields = *other.m_fields;
    fields.readWriteCode = m_fields->readWriteCode;
    fields.clientPackageType = m_fields->clientPackageType;
    *m_fields = fields;
    return *this;
}

PackageBase::~PackageBase()
{
    if (!releaseReply())
        delete m_reply; // without memory for a later deletion, at once
}

quint16 PackageBase::getHighAddr() const
{
    return m_fields->highAddr;
}

void PackageBase::setHighAddr(quint16 address)
{
    m_fields->highAddr = address;
}

quint16 PackageBase::getLowAddr() const
{
    return m_fields->lowAddr;
}

void PackageBase::setLowAddr(quint16 address)
{
    m_fields->lowAddr = address;
}

qint8 PackageBase::getDesAddr() const
{
    return m_fields->desAddr;
}

void PackageBase::setDesAddr(qint8 address)
{
    m_fields->desAddr = address;
}

int PackageBase::getDeviceType() const
{
    return m_fields->deviceType;
}

void PackageBase::setDeviceType(int type)
{
    m_fields->deviceType = type;
}

qint8 PackageBase::getPortAddr() const
{
    return m_fields->portAddr;
}

void PackageBase::setPortAddr(qint8 address)
{
    m_fields->portAddr = address;
}

QString PackageBase::getSeverConnectionKey() const
{
    return m_fields->serverConnectionKey;
}

void PackageBase::setServerConnectionKey(const QString &key)
{
    m_fields->serverConnectionKey = key;
}

int PackageBase::getReserved2() const
{
    return m_fields->reserved2;
}

void PackageBase::setReserved2(int value)
{
    m_fields->reserved2 = value;
}

int PackageBase::getScanBoardAddr() const
{
    return m_fields->scanBoardAddr;
}

void PackageBase::setScanBoardAddr(int address)
{
    m_fields->scanBoardAddr = address;
}

qint8 PackageBase::getScrAddr() const
{
    return m_fields->scrAddr;
}

void PackageBase::setScrAddr(qint8 address)
{
    m_fields->scrAddr = address;
}

QString PackageBase::getTag() const
{
    return m_fields->tag;
}

void PackageBase::setTag(QString tag)
{
    m_fields->tag = std::move(tag);
}

int PackageBase::getTimeout() const
{
    return m_fields->timeout;
}

void PackageBase::setTimeout(int milliseconds)
{
    m_fields->timeout = milliseconds;
}

void *PackageBase::getUserToken() const
{
    return m_fields->userToken;
}

void PackageBase::setUserToken(void *token)
{
    m_fields->userToken = token;
}

quint64 PackageBase::getSerialNum() const
{
    return m_fields->serialNum;
}

int PackageBase::getReadWriteCode() const
{
    return m_fields->readWriteCode;
}

int PackageBase::getClientPackageType() const
{
    return m_fields->clientPackageType;
}

TarnEnum::CommResults PackageBase::getCommResult() const
{
    return m_fields->commResult;
}

void PackageBase::setCommResult(TarnEnum::CommResults result)
{
    m_fields->commResult = result;
}

int PackageBase::getDataLength() const
{
    return m_fields->data.size();
}

QByteArray PackageBase::getData() const
{
    return m_fields->data;
}

void PackageBase::setData(const QByteArray &data)
{
    m_fields->data = data;
}

QByteArray PackageBase::toByteArray() const
{
    return PackageByteForm::request(*m_fields);
}

QString PackageBase::toReplyString() const
{
    return PackageTextForm::reply(*m_fields);
}

QString PackageBase::toRequestString() const
{
    return PackageTextForm::request(*m_fields);
}

void PackageBase::fromString(QString text)
{
    if (!PackageTextForm::read(text, m_fields.get()))
        setCommResult(TarnEnum::BadReply);
}

void PackageBase::setCompletionHandler(CompletionHandler handler)
{
    m_completionHandler = std::move(handler);
}

void PackageBase::CompleteRequestEvent(void *sender, PackageBase *reply)
{
    if (reply != this && reply != m_reply) {
        QPointer<PackageBase> adopted(reply);
        if (!releaseReply())
            delete m_reply;
        m_reply.swap(adopted);
    }
    // Taken out before the call: the handler may set the next one, or delete this package.
    const CompletionHandler handler = std::exchange(m_completionHandler, nullptr);
    if (handler)
        handler(sender, reply);
}

PackageBase *PackageBase::takeReply()
{
    PackageBase *const reply = m_reply;
    m_reply.clear();
    return reply;
}

void PackageBase::clear(PackageBase *request)
{
    if (request != nullptr)
        request->releaseReply();
}

PackageFields &PackageBase::fields()
{
    return *m_fields;
}

const PackageFields &PackageBase::fields() const
{
    return *m_fields;
}

// False when memory runs out: the reply is still adopted then.
bool PackageBase::releaseReply()
{
    if (m_reply && !guarded([this] { m_reply->deleteLater(); }))
        return false;
    m_reply.clear();
    return true;
}
