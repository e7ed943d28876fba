#include "EquipmentKeyText.h"

namespace {

const QLatin1String EscapedComma("*#*");
const QLatin1String EscapedSlash("#*#");
const QLatin1String Comma(",");
const QLatin1String Slash("/");

} // namespace

QString EquipmentKeyText::escaped(const QString &key)
{
    QString text = key;
    return text.replace(Slash, EscapedSlash).replace(Comma, EscapedComma);
}

QString EquipmentKeyText::unescaped(const QString &text)
{
    QString key = text;
    return key.replace(EscapedComma, Comma).replace(EscapedSlash, Slash);
}
