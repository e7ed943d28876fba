#ifndef PACKAGEBYTEFORM_H
#define PACKAGEBYTEFORM_H

#include <QByteArray>

struct PackageFields;

/// The byte form of a request: a format version byte, then the fields of the text form in the same
/// order through `QDataStream` (little-endian, stream version of Qt 5.12).
namespace PackageByteForm {

QByteArray request(const PackageFields &fields);

} // namespace PackageByteForm

#endif
