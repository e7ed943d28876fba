#include "JsonFields.h"

#include <QJsonArray>

#include <algorithm>

namespace {

bool isLatin1(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() <= 0xFF; });
}

bool isWhole(const QJsonValue &value, qint64 smallest, qint64 largest)
{
    const double given = value.toDouble();
    return value.isDouble() && given >= static_cast<double>(smallest)
        && given <= static_cast<double>(largest)
        && given == static_cast<double>(static_cast<qint64>(given));
}

QString rangeText(qint64 smallest, qint64 largest)
{
    return QStringLiteral("a whole number from %1 to %2").arg(smallest).arg(largest);
}

// "a", "b" or "c"
QString alternatives(const QStringList &names)
{
    QString text;
    for (int i = 0; i < names.size(); ++i) {
        if (i > 0)
            text += i + 1 < names.size() ? QStringLiteral(", ") : QStringLiteral(" or ");
        text += QLatin1Char('"') + names.at(i) + QLatin1Char('"');
    }
    return text;
}

} // namespace

JsonFields::JsonFields(const QJsonObject &object, const QString &place, QString *error)
    : m_object(object)
    , m_place(place)
    , m_error(error)
{ }

bool JsonFields::isGood() const
{
    return m_error->isEmpty();
}

const QJsonObject &JsonFields::object() const
{
    return m_object;
}

QString JsonFields::place() const
{
    return m_place;
}

void JsonFields::require(const char *name)
{
    if (!has(name))
        refuse(name, QStringLiteral("is required"));
}

bool JsonFields::has(const char *name)
{
    return !value(name).isUndefined();
}

bool JsonFields::flag(const char *name, bool initial)
{
    const QJsonValue given = value(name);
    if (!given.isUndefined() && !given.isBool())
        refuse(name, QStringLiteral("true or false is expected"));
    return given.toBool(initial);
}

QString JsonFields::text(const char *name)
{
    const QJsonValue given = value(name);
    if (!given.isUndefined() && !given.isString())
        refuse(name, QStringLiteral("a text is expected"));
    if (!isLatin1(given.toString()))
        refuse(name, QStringLiteral("only Latin-1 characters can be sent"));
    return given.toString();
}

qint64 JsonFields::number(const char *name, qint64 smallest, qint64 largest, qint64 initial)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return initial;
    if (isWhole(given, smallest, largest))
        return static_cast<qint64>(given.toDouble());
    refuse(name, rangeText(smallest, largest) + QLatin1String(" is expected"));
    return initial;
}

qint64 JsonFields::numberOrName(const char *name, const QStringList &names, qint64 smallest,
                                qint64 largest, qint64 initial)
{
    const QJsonValue given = value(name);
    if (given.isUndefined())
        return initial;
    if (isWhole(given, smallest, largest))
        return static_cast<qint64>(given.toDouble());
    const int index = given.isString() ? names.indexOf(given.toString()) : -1;
    if (index >= 0)
        return index;
    refuse(name,
           rangeText(smallest, largest) + QLatin1String(", ") + alternatives(names)
               + QLatin1String(" is expected"));
    return initial;
}

int JsonFields::choice(const char *name, const QStringList &names, int initial)
{
    const QJsonValue given = value(name);
    if (given.isUndefined() && initial >= 0)
        return initial;
    const int index = given.isString() ? names.indexOf(given.toString()) : -1;
    if (index < 0)
        refuse(name, alternatives(names) + QLatin1String(" is required"));
    return qMax(0, index);
}

QByteArray JsonFields::hex(const char *name)
{
    const QByteArray digits = text(name).toLatin1().replace(' ', "");
    QByteArray bytes = QByteArray::fromHex(digits);
    if (bytes.toHex() != digits.toLower())
        refuse(name, QStringLiteral("pairs of hexadecimal digits are expected"));
    return bytes;
}

QVector<JsonFields> JsonFields::objects(const char *name)
{
    QVector<JsonFields> objects;
    const QJsonValue given = value(name);
    if (!given.isUndefined() && !given.isArray())
        refuse(name, QStringLiteral("a list is expected"));
    const QJsonArray list = given.toArray();
    for (int i = 0; i < list.size(); ++i) {
        const QString place = placeOf(QStringLiteral("%1[%2]").arg(QLatin1String(name)).arg(i));
        if (!list.at(i).isObject())
            refuseAt(place, QStringLiteral("an object is expected"));
        objects.append(JsonFields(list.at(i).toObject(), place, m_error));
    }
    return objects;
}

QVector<qint64> JsonFields::numbers(const char *name, qint64 smallest, qint64 largest)
{
    QVector<qint64> numbers;
    const QJsonValue given = value(name);
    if (!given.isUndefined() && !given.isArray())
        refuse(name, QStringLiteral("a list is expected"));
    const QJsonArray list = given.toArray();
    for (int i = 0; i < list.size(); ++i) {
        if (isWhole(list.at(i), smallest, largest))
            numbers.append(static_cast<qint64>(list.at(i).toDouble()));
        else
            refuseAt(placeOf(QStringLiteral("%1[%2]").arg(QLatin1String(name)).arg(i)),
                     rangeText(smallest, largest) + QLatin1String(" is expected"));
    }
    return numbers;
}

void JsonFields::refuse(const char *name, const QString &reason)
{
    refuseAt(placeOf(QLatin1String(name)), reason);
}

void JsonFields::refuse(const QString &reason)
{
    refuseAt(m_place, reason);
}

bool JsonFields::finish()
{
    const QStringList names = m_object.keys();
    for (const QString &name : names) {
        if (!m_known.contains(name))
            refuseAt(placeOf(name),
                     QStringLiteral("not known; known are ") + m_known.join(QLatin1String(", ")));
    }
    return isGood();
}

QJsonValue JsonFields::value(const char *name)
{
    const QString text = QLatin1String(name);
    if (!m_known.contains(text))
        m_known.append(text);
    return m_object.value(text);
}

QString JsonFields::placeOf(const QString &name) const
{
    return m_place.isEmpty() ? name : m_place + QLatin1Char('.') + name;
}

void JsonFields::refuseAt(const QString &place, const QString &reason)
{
    if (isGood())
        *m_error = place + QLatin1String(": ") + reason;
}
