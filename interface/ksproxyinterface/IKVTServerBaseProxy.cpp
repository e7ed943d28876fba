#include "IKVTServerBaseProxy.h"

#include <QMutexLocker>

IKVTServerBaseProxy::IKVTServerBaseProxy(QObject *parent)
    : QObject(parent)
{
    // So that queued connections and signal spies work without the application's help.
    qRegisterMetaType<EventArgs>("EventArgs");
    qRegisterMetaType<ConnectEquipmentEventArgs>("ConnectEquipmentEventArgs");
    qRegisterMetaType<NotifyRegisterErrorEventArgs>("NotifyRegisterErrorEventArgs");
    qRegisterMetaType<CompletePackageRequestEventArgs>("CompletePackageRequestEventArgs");
    qRegisterMetaType<EquipmentInfo>("EquipmentInfo");
    qRegisterMetaType<LanAdditionalInfo>("LanAdditionalInfo");
    qRegisterMetaType<QMap<QString, EquipmentInfo>>("QMap<QString,EquipmentInfo>");
}

IKVTServerBaseProxy::~IKVTServerBaseProxy() = default;

bool IKVTServerBaseProxy::isRegisted() const
{
    return m_registered;
}

void IKVTServerBaseProxy::setRegisted(bool registered)
{
    m_registered = registered;
}

QMap<QString, EquipmentInfo> IKVTServerBaseProxy::equipmentTable() const
{
    const QMutexLocker locker(&m_equipmentTableMutex);
    return m_equipmentTable;
}

void IKVTServerBaseProxy::setEquipmentTable(const QMap<QString, EquipmentInfo> &table)
{
    const QMutexLocker locker(&m_equipmentTableMutex);
    m_equipmentTable = table;
}

void IKVTServerBaseProxy::clearEquipmentTable()
{
    const QMutexLocker locker(&m_equipmentTableMutex);
    m_equipmentTable.clear();
}
