#include "KVTServerMessageOldProxy.h"

#include "EquipmentTableText.h"
#include "Guarded.h"

bool KVTServerMessageOldProxy::ParseEquipmentTable(QString table)
{
    return guarded([&] { return readEquipmentTable(table); }, false);
}

bool KVTServerMessageOldProxy::readEquipmentTable(const QString &table)
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
        Log::debug("ParseEquipmentTable", tr("客户端更新设备表异常："), error);
        return false;
    }
}
