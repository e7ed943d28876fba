#ifndef EQUIPMENTKEYTEXT_H
#define EQUIPMENTKEYTEXT_H

#include <QString>

/// How a connection key stands in the equipment table's text, where "," and "/" separate records
/// and fields.
namespace EquipmentKeyText {

/// "/" becomes "#*#", then "," becomes "*#*".
QString escaped(const QString &key);

/// "*#*" becomes ",", then, in that result, "#*#" becomes "/". Not every key survives the way there
/// and back: "/," does not.
QString unescaped(const QString &text);

} // namespace EquipmentKeyText

#endif
