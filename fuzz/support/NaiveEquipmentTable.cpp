#include "NaiveEquipmentTable.h"

#include <QVector>

#include <limits>
#include <tuple>

namespace {

QVector<QString> parts(const QString &text, QChar separator)
{
    QVector<QString> parts(1);
    for (const QChar c : text) {
        if (c == separator)
            parts.append(QString());
        else
            parts.last().append(c);
    }
    return parts;
}

QString replaced(const QString &text, const char *before, QChar after)
{
    QString result;
    for (int i = 0; i < text.size(); ++i) {
        if (text.mid(i, 3) == QLatin1String(before)) {
            result.append(after);
            i += 2;
        } else {
            result.append(text.at(i));
        }
    }
    return result;
}

// Blanks around a number, a plus sign and the minus sign of mathematics are taken, as Qt does.
int number(const QString &text)
{
    QString trimmed = text.trimmed();
    if (trimmed.startsWith(QChar(0x2212)))
        trimmed.replace(0, 1, QLatin1Char('-'));
    const bool isNegative = trimmed.startsWith(QLatin1Char('-'));
    const bool isSigned = isNegative || trimmed.startsWith(QLatin1Char('+'));
    qint64 value = 0;
    for (int i = isSigned ? 1 : 0; i < trimmed.size(); ++i) {
        const int digit = trimmed.at(i).unicode() - '0';
        if (digit < 0 || digit > 9)
            return 0;
        value = value * 10 + digit;
        if (value > qint64(std::numeric_limits<int>::max()) + (isNegative ? 1 : 0))
            return 0;
    }
    return static_cast<int>(isNegative ? -value : value);
}

bool areEqual(const EquipmentInfo &one, const EquipmentInfo &other)
{
    const auto values = [](const EquipmentInfo &info) {
        return std::tie(info.shortValue, info.longValue, info.flag, info.text, info.connectionKey,
                        info.connectionKeyCopy, info.intValue, info.extraText, info.extraValue,
                        info.lanInfo.text1, info.lanInfo.number, info.lanInfo.text2,
                        info.lanInfo.text3, info.extraText2, info.extraText3, info.extraInt);
    };
    return values(one) == values(other) && one.children.isEmpty() && other.children.isEmpty();
}

} // namespace

QMap<QString, EquipmentInfo> NaiveEquipmentTable::read(const QString &text)
{
    QMap<QString, EquipmentInfo> table;
    const QVector<QString> records = text.isEmpty() ? QVector<QString>() : parts(text, u',');
    for (const QString &record : records) {
        const QVector<QString> fields = parts(record, u'/');
        if (fields.size() < 5)
            continue;
        EquipmentInfo info;
        info.connectionKey = replaced(replaced(fields.at(0), "*#*", u','), "#*#", u'/');
        info.connectionKeyCopy = info.connectionKey;
        info.shortValue = static_cast<qint16>(number(fields.at(1)) & 0xFFFF);
        info.longValue = number(fields.at(2));
        info.text = fields.at(3);
        info.intValue = number(fields.at(4));
        table.insert(info.connectionKey, info);
    }
    return table;
}

bool NaiveEquipmentTable::areEqual(const QMap<QString, EquipmentInfo> &one,
                                   const QMap<QString, EquipmentInfo> &other)
{
    if (one.keys() != other.keys())
        return false;
    for (auto entry = one.cbegin(); entry != one.cend(); ++entry) {
        if (!::areEqual(entry.value(), other.value(entry.key())))
            return false;
    }
    return true;
}
