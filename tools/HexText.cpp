#include "HexText.h"

#include <algorithm>

namespace {

constexpr int PairDigits = 2;

bool isSeparator(QChar c)
{
    return c.isSpace() || c == QLatin1Char(':');
}

bool isHexDigit(QChar c)
{
    const ushort lower = c.toLower().unicode();
    return (lower >= '0' && lower <= '9') || (lower >= 'a' && lower <= 'f');
}

} // namespace

bool HexText::read(const QString &text, QByteArray *data, QString *problem)
{
    data->clear();
    int i = 0;
    while (i < text.size()) {
        if (isSeparator(text.at(i))) {
            ++i;
            continue;
        }
        const QString pair = text.mid(i, PairDigits);
        if (pair.size() < PairDigits || !std::all_of(pair.cbegin(), pair.cend(), isHexDigit)) {
            *problem = QStringLiteral("\"%1\" at character %2 is not a byte of two hexadecimal "
                                      "digits")
                           .arg(pair)
                           .arg(i + 1);
            return false;
        }
        data->append(QByteArray::fromHex(pair.toLatin1()));
        i += PairDigits;
    }
    return true;
}
