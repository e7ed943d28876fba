#include "WireVector.h"

#include "WireBytes.h"

#include <QStringList>

namespace {

QString replaced(QString text, const WireNames &names)
{
    for (auto name = names.cbegin(); name != names.cend(); ++name)
        text.replace(QLatin1Char('{') + name.key() + QLatin1Char('}'), name.value());
    return text;
}

QJsonValue replaced(const QJsonValue &value, const WireNames &names)
{
    if (value.isString())
        return replaced(value.toString(), names);
    if (value.isArray()) {
        QJsonArray array;
        const QJsonArray elements = value.toArray();
        for (const QJsonValue element : elements)
            array.append(replaced(element, names));
        return array;
    }
    if (value.isObject()) {
        QJsonObject object = value.toObject();
        for (auto field = object.begin(); field != object.end(); ++field)
            *field = replaced(QJsonValue(*field), names);
        return object;
    }
    return value;
}

QByteArray bytesOf(const QJsonValue &element, const WireNames &names)
{
    if (element.isString())
        return QByteArray::fromHex(element.toString().toLatin1());
    const QJsonObject object = element.toObject();
    if (object.contains(QLatin1String("hex")))
        return QByteArray::fromHex(object.value(QLatin1String("hex")).toString().toLatin1())
            .repeated(object.value(QLatin1String("times")).toInt());
    return WireBytes::message(
        object.value(QLatin1String("id")).toInt(),
        replaced(object.value(QLatin1String("text")).toString(), names).toLatin1());
}

void apply(int change, int position, QByteArray *piece)
{
    if (change == WireDamage::Missing)
        piece->remove(position, 1);
    else if (change != 0)
        (*piece)[position] = static_cast<char>(piece->at(position) ^ change);
}

} // namespace

QJsonObject mergedFields(QJsonObject defaults, const QJsonObject &object)
{
    for (auto field = object.begin(); field != object.end(); ++field)
        defaults.insert(field.key(), *field);
    return defaults;
}

WireVector::WireVector(const QJsonObject &vector, const QJsonObject &common)
    : m_vector(vector)
    , m_start(mergedFields(common.value(QLatin1String("start")).toObject(),
                           vector.value(QLatin1String("start")).toObject()))
{ }

QString WireVector::name() const
{
    return m_vector.value(QLatin1String("name")).toString();
}

QJsonObject WireVector::start() const
{
    return m_start;
}

QStringList WireVector::requests() const
{
    QStringList requests;
    const QJsonArray elements = m_vector.value(QLatin1String("requests")).toArray();
    for (const QJsonValue element : elements)
        requests.append(element.toString());
    return requests;
}

QJsonObject WireVector::effect(const WireNames &names) const
{
    return replaced(m_vector.value(QLatin1String("effect")), names).toObject();
}

int WireVector::byteCount() const
{
    int count = 0;
    const QVector<QByteArray> all = pieces(WireNames());
    for (const QByteArray &piece : all)
        count += piece.size();
    return count;
}

QVector<QByteArray> WireVector::pieces(const WireNames &names, const WireDamage &damage) const
{
    QVector<QByteArray> pieces(1);
    const QJsonArray elements = m_vector.value(QLatin1String("bytes")).toArray();
    for (const QJsonValue element : elements) {
        if (element == QJsonValue(QStringLiteral("|")))
            pieces.append(QByteArray());
        else
            pieces.last() += bytesOf(element, names);
    }
    int position = damage.position;
    for (QByteArray &piece : pieces) {
        if (position < piece.size()) {
            apply(damage.change, position, &piece);
            break;
        }
        position -= piece.size();
    }
    return pieces;
}
