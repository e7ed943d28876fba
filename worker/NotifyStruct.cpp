#include "NotifyStruct.h"

#include <QUuid>

NotifyStruct::NotifyStruct()
    : m_id(QUuid::createUuid().toString())
{ }

NotifyStruct::~NotifyStruct() = default;

std::shared_ptr<QByteArray> NotifyStruct::info() const
{
    return m_info;
}

void NotifyStruct::setInfo(const std::shared_ptr<QByteArray> &info)
{
    m_info = info;
}

void *NotifyStruct::reply() const
{
    return m_reply;
}

void NotifyStruct::setReply(void *reply)
{
    m_reply = reply;
}

int NotifyStruct::replyType() const
{
    return m_replyType;
}

void NotifyStruct::setReplyType(const int &type)
{
    m_replyType = type;
}

TarnEnum::NotifyTypes NotifyStruct::notify() const
{
    return m_notify;
}

void NotifyStruct::setNotify(const TarnEnum::NotifyTypes &type)
{
    m_notify = type;
}

TarnEnum::MessageIDs NotifyStruct::sendID() const
{
    return m_sendID;
}

void NotifyStruct::setSendID(const TarnEnum::MessageIDs &id)
{
    m_sendID = id;
}

QString NotifyStruct::strinfo() const
{
    return m_strinfo;
}

void NotifyStruct::setInfo(const QString &text)
{
    m_strinfo = text;
}

int NotifyStruct::wndHandle() const
{
    return m_wndHandle;
}

void NotifyStruct::setWndHandle(int handle)
{
    m_wndHandle = handle;
}

PackageBase *NotifyStruct::packe()
{
    return m_packe;
}

void NotifyStruct::setPacke(PackageBase *package)
{
    m_packe = package;
}

QString NotifyStruct::getId() const
{
    return m_id;
}

void NotifyStruct::setId(const QString &id)
{
    m_id = id;
}

QByteArray NotifyStruct::getByteArrayInfo() const
{
    return m_byteArrayInfo;
}

void NotifyStruct::setByteArrayInfo(const QByteArray &bytes)
{
    m_byteArrayInfo = bytes;
}

int NotifyStruct::getPId() const
{
    return m_pId;
}

void NotifyStruct::setPId(int id)
{
    m_pId = id;
}
