#ifndef NUMBERTEXT_H
#define NUMBERTEXT_H

#include <QString>

#include <optional>

/// Numbers as people type and read them.
namespace NumberText {

/// A whole number in decimal, or in hexadecimal behind "0x", either with "-" in front. Nothing for
/// every other text, blanks included, and for what 64 bits do not hold.
std::optional<qint64> read(const QString &text);

/// "0x00000040"
QString address(quint32 address);

} // namespace NumberText

#endif
