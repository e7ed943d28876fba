#ifndef MEMORYREADER_H
#define MEMORYREADER_H

#include "EquipmentDescription.h"

class JsonFields;

/// Reads what stands in the memory of a piece of equipment, and what moves in it.
namespace MemoryReader {

/// The list `presets`: bytes in hexadecimal digits or from a file.
void readPresets(JsonFields *fields, const QString &folder, EquipmentDescription *description);

/// The list `values`.
void readValues(JsonFields *fields, EquipmentDescription *description);

} // namespace MemoryReader

#endif
