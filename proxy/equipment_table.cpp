#include "KVTServerMessageOldProxy.h"

#include "EquipmentTableText.h"

#include <QDebug>

bool KVTServerMessageOldProxy::ParseEquipmentTable(QString table)
{
    try {
        if (table.isEmpty()) {
            clearEquipmentTable();
            return false;
        }
        setEquipmentTable(EquipmentTableText::read(table));
        return true;
    } catch (const QString &error) {
        // Another build of the interface may throw a text; the application gets false instead.
        qDebug() << "ParseEquipmentTable" << tr("客户端更新设备表异常：") << error;
        return false;
    }
}
