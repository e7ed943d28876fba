#ifndef NAIVEEQUIPMENTTABLE_H
#define NAIVEEQUIPMENTTABLE_H

#include "EquipmentInfo.h"

#include <QMap>

/// The equipment table read a second time, one character after the other.
namespace NaiveEquipmentTable {

QMap<QString, EquipmentInfo> read(const QString &text);

/// Whether they are the same in every field.
bool areEqual(const QMap<QString, EquipmentInfo> &one, const QMap<QString, EquipmentInfo> &other);

} // namespace NaiveEquipmentTable

#endif
