#ifndef PACKAGETEXT_H
#define PACKAGETEXT_H

#include "PackageBase.h"

#include <memory>

/// Packages from their texts.
namespace PackageText {

/// A new package of the class that goes with \a type, filled from \a text.
std::unique_ptr<PackageBase> read(const QString &text, TarnEnum::NotifyTypes type);

} // namespace PackageText

#endif
