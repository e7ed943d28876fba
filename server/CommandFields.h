#ifndef COMMANDFIELDS_H
#define COMMANDFIELDS_H

#include "EquipmentMemory.h"

#include <QStringList>

class JsonFields;

/// Fields that several commands and the equipment have.
namespace CommandFields {

constexpr int LongestMs = 3600 * 1000;

/// The field `key`, which must be one of \a keys.
QString equipmentKey(JsonFields *fields, const QStringList &keys);

/// The fields `port`, `scanBoard` and `address`, each 0 when it is not there.
EquipmentMemory::Place place(JsonFields *fields);

/// The field `result`: a name or any number. 0 when it is not there.
int result(JsonFields *fields);

/// The field `count`: a number, or "always", which is 0.
int count(JsonFields *fields, int initial);

} // namespace CommandFields

#endif
