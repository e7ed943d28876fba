#ifndef EQUIPMENTREADER_H
#define EQUIPMENTREADER_H

#include "EquipmentDescription.h"

class JsonFields;

/// Reads the description of one piece of equipment from the fields of its object.
namespace EquipmentReader {

/// Names of files are relative to \a folder. Whether the description is right, the fields tell.
EquipmentDescription read(JsonFields *fields, const QString &folder);

} // namespace EquipmentReader

#endif
