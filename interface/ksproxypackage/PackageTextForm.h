#ifndef PACKAGETEXTFORM_H
#define PACKAGETEXTFORM_H

#include <QString>

struct PackageFields;

/// The text in which packages travel: `name=value` fields joined by ";", integers in decimal,
/// texts percent-encoded from UTF-8, data in Base64. The result is ASCII, so it survives the
/// Latin-1 wire, and does not depend on the locale.
namespace PackageTextForm {

QString request(const PackageFields &fields);
QString reply(const PackageFields &fields);

/// Takes over the fields of \a text. False when the text is empty or a field of it is bad; the
/// good ones are taken all the same.
bool read(const QString &text, PackageFields *fields);

} // namespace PackageTextForm

#endif
