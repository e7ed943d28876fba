#include "NumberText.h"

namespace {

constexpr int AddressDigits = 8;

bool isDigit(QChar c, int base)
{
    const ushort lower = c.toLower().unicode();
    return (lower >= '0' && lower <= '9') || (base == 16 && lower >= 'a' && lower <= 'f');
}

} // namespace

std::optional<qint64> NumberText::read(const QString &text)
{
    const bool isNegative = text.startsWith(QLatin1Char('-'));
    QString digits = text.mid(isNegative ? 1 : 0);
    int base = 10;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        base = 16;
        digits.remove(0, 2);
    }
    // Qt would also take blanks around them, and a second sign.
    for (const QChar c : qAsConst(digits)) {
        if (!isDigit(c, base))
            return std::nullopt;
    }
    bool ok = false;
    const qint64 number = digits.toLongLong(&ok, base);
    if (!ok)
        return std::nullopt;
    return isNegative ? -number : number;
}

QString NumberText::address(quint32 address)
{
    return QStringLiteral("0x%1").arg(address, AddressDigits, 16, QLatin1Char('0'));
}
