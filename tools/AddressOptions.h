#ifndef ADDRESSOPTIONS_H
#define ADDRESSOPTIONS_H

#include "EquipmentAddress.h"

class VerbOptions;

/// The options that name a place in a piece of equipment.
namespace AddressOptions {

/// The argument KEY and the options of a place in \a target.
void addTo(VerbOptions *options, EquipmentAddress *target);

/// The argument KEY alone.
void addKeyTo(VerbOptions *options, QString *target);

} // namespace AddressOptions

#endif
