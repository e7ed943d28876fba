#include "EventArgs.h"

EventArgs::EventArgs(int value)
    : m_value(value)
{ }

int EventArgs::value() const
{
    return m_value;
}

void EventArgs::setValue(int value)
{
    m_value = value;
}

ConnectEquipmentEventArgs::ConnectEquipmentEventArgs() = default;

QString ConnectEquipmentEventArgs::portNam() const
{
    return m_portName;
}

void ConnectEquipmentEventArgs::setPortNam(const QString &name)
{
    m_portName = name;
}

NotifyRegisterErrorEventArgs::NotifyRegisterErrorEventArgs() = default;

QString NotifyRegisterErrorEventArgs::errInfo() const
{
    return m_errorInfo;
}

void NotifyRegisterErrorEventArgs::setErrInfo(const QString &text)
{
    m_errorInfo = text;
}

CompletePackageRequestEventArgs::CompletePackageRequestEventArgs() = default;

PackageBase *CompletePackageRequestEventArgs::request() const
{
    return m_request;
}

void CompletePackageRequestEventArgs::setRequest(PackageBase *request)
{
    m_request = request;
}
