#ifndef HEXTEXT_H
#define HEXTEXT_H

#include <QByteArray>
#include <QString>

/// Bytes typed as hexadecimal digits.
namespace HexText {

/// Reads pairs of digits, with blanks or colons between pairs, as in "48 65:6c6c". False, with what
/// is wrong in \a problem, when there is anything else.
bool read(const QString &text, QByteArray *data, QString *problem);

} // namespace HexText

#endif
