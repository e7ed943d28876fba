#ifndef EQUIPMENTTABLETEXT_H
#define EQUIPMENTTABLETEXT_H

#include "EquipmentInfo.h"

#include <QMap>
#include <QString>

/// The equipment table as the server sends it: records separated by ",", fields by "/".
namespace EquipmentTableText {

/// The table that \a text says. A record of fewer than five fields is passed over, fields after the
/// fifth do not count, a field that is no number in the range of int counts as 0, and of several
/// records with one key the last wins. Costs the time of filling a map in the order of its keys,
/// and of sorting them first where the text is not in that order.
QMap<QString, EquipmentInfo> read(const QString &text);

} // namespace EquipmentTableText

#endif
