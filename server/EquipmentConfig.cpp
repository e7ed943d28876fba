#include "EquipmentConfig.h"

#include "EquipmentKeyText.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <limits>

namespace {

const char BuiltInEquipment[] = R"({"equipment": [
  {"key": "COM1", "kind": "controller", "serial": 1001, "text": "Controller at a serial port"},
  {"key": "COM1/1", "kind": "scanBoard", "controller": "COM1", "serial": 2001, "text": "Scan board 1"},
  {"key": "COM1/2", "kind": "scanBoard", "controller": "COM1", "serial": 2002, "text": "Scan board 2"},
  {"key": "192.168.0.20:5000", "kind": "controller", "serial": 1002, "text": "Controller in the LAN"},
  {"key": "192.168.0.20:5000/1", "kind": "scanBoard", "controller": "192.168.0.20:5000",
   "serial": 2003, "text": "Scan board in the LAN"}
]})";

constexpr int LargestFile = 16 * 1024 * 1024;
constexpr int LargestMemory = 16 * 1024 * 1024;
constexpr int LargestPorts = 128; // a port address is a signed byte
constexpr int LargestScanBoards = 1024;
constexpr qint64 LargestMemoryInAll = 256LL * 1024 * 1024;

bool isLatin1(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() <= 0xFF; });
}

QString placeOf(const QByteArray &json, int offset)
{
    const QByteArray before = json.left(offset);
    const int line = before.count('\n') + 1;
    const int column = offset - before.lastIndexOf('\n');
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

QString member(const QString &place, const QString &name)
{
    return place.isEmpty() ? name : place + QLatin1Char('.') + name;
}

} // namespace

QVector<EquipmentDescription> EquipmentConfig::builtIn()
{
    EquipmentConfig config;
    const bool isGood = config.read(BuiltInEquipment);
    Q_ASSERT(isGood);
    Q_UNUSED(isGood)
    return config.equipment();
}

bool EquipmentConfig::readFile(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return refuse(fileName, QStringLiteral("cannot be read: ") + file.errorString());
    const QByteArray json = file.read(LargestFile + 1);
    if (json.size() > LargestFile)
        return refuse(fileName, QStringLiteral("is longer than %1 bytes").arg(LargestFile));
    if (read(json))
        return true;
    return refuse(fileName, m_error);
}

bool EquipmentConfig::read(const QByteArray &json)
{
    m_equipment.clear();
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return refuse(placeOf(json, parseError.offset), parseError.errorString());
    if (!document.isObject())
        return refuse(QStringLiteral("line 1"), QStringLiteral("an object is expected"));
    const QJsonObject object = document.object();
    if (!checkNames(object, QString(), {QStringLiteral("equipment")}))
        return false;
    const QJsonValue list = object.value(QLatin1String("equipment"));
    if (!list.isArray())
        return refuse(QStringLiteral("equipment"), QStringLiteral("a list is expected"));
    const QJsonArray entries = list.toArray();
    for (int i = 0; i < entries.size(); ++i) {
        const QString place = QStringLiteral("equipment[%1]").arg(i);
        if (!entries.at(i).isObject())
            return refuse(place, QStringLiteral("an object is expected"));
        if (!readEntry(entries.at(i).toObject(), place))
            return false;
    }
    return checkControllers();
}

const QVector<EquipmentDescription> &EquipmentConfig::equipment() const
{
    return m_equipment;
}

QString EquipmentConfig::error() const
{
    return m_error;
}

bool EquipmentConfig::readEntry(const QJsonObject &object, const QString &place)
{
    static const QStringList known{
        QStringLiteral("key"),    QStringLiteral("kind"),       QStringLiteral("controller"),
        QStringLiteral("serial"), QStringLiteral("text"),       QStringLiteral("memory"),
        QStringLiteral("ports"),  QStringLiteral("scanBoards"), QStringLiteral("appearsAfter")};
    EquipmentDescription description;
    const QString text = QStringLiteral("text");
    if (!checkNames(object, place, known) || !readKey(object, place, &description.key)
        || !readKind(object, place, &description) || !readNumbers(object, place, &description)
        || !readText(object, place, text, &description.text))
        return false;
    if (description.text.contains(QLatin1Char(',')) || description.text.contains(QLatin1Char('/')))
        return refuse(member(place, text),
                      QStringLiteral("\",\" and \"/\" separate records and fields "
                                     "of the equipment table"));
    m_equipment.append(description);
    return true;
}

bool EquipmentConfig::readKey(const QJsonObject &object, const QString &place, QString *key)
{
    const QString name = QStringLiteral("key");
    if (!readText(object, place, name, key))
        return false;
    if (key->isEmpty())
        return refuse(member(place, name), QStringLiteral("a text that is not empty is required"));
    if (EquipmentKeyText::unescaped(EquipmentKeyText::escaped(*key)) != *key)
        return refuse(member(place, name),
                      QStringLiteral("\"%1\" cannot be told apart once it is escaped").arg(*key));
    for (const EquipmentDescription &other : qAsConst(m_equipment)) {
        if (other.key == *key)
            return refuse(member(place, name), QStringLiteral("\"%1\" is there already").arg(*key));
    }
    return true;
}

bool EquipmentConfig::readKind(const QJsonObject &object, const QString &place,
                               EquipmentDescription *description)
{
    const QString name = QStringLiteral("kind");
    QString kind;
    if (!readText(object, place, name, &kind)
        || !readText(object, place, QStringLiteral("controller"), &description->controller))
        return false;
    if (kind == QLatin1String("controller") && object.contains(QLatin1String("controller")))
        return refuse(member(place, QStringLiteral("controller")),
                      QStringLiteral("a controller belongs to none"));
    if (kind == QLatin1String("controller"))
        description->kind = EquipmentDescription::Kind::Controller;
    else if (kind == QLatin1String("scanBoard"))
        description->kind = EquipmentDescription::Kind::ScanBoard;
    else
        return refuse(member(place, name),
                      QStringLiteral("\"controller\" or \"scanBoard\" is required"));
    return true;
}

bool EquipmentConfig::readNumbers(const QJsonObject &object, const QString &place,
                                  EquipmentDescription *description)
{
    constexpr int smallest = std::numeric_limits<int>::min();
    constexpr int largest = std::numeric_limits<int>::max();
    if (!readNumber(object, place, QStringLiteral("serial"), smallest, largest,
                    &description->serial)
        || !readNumber(object, place, QStringLiteral("memory"), 1, LargestMemory,
                       &description->memory)
        || !readNumber(object, place, QStringLiteral("ports"), 1, LargestPorts, &description->ports)
        || !readNumber(object, place, QStringLiteral("scanBoards"), 1, LargestScanBoards,
                       &description->scanBoards)
        || !readNumber(object, place, QStringLiteral("appearsAfter"), 0, largest,
                       &description->appearsAfterMs))
        return false;
    const qint64 inAll = qint64(description->memory) * description->ports * description->scanBoards;
    if (inAll > LargestMemoryInAll)
        return refuse(place,
                      QStringLiteral("memory * ports * scanBoards is %1 bytes, over %2")
                          .arg(inAll)
                          .arg(LargestMemoryInAll));
    return true;
}

bool EquipmentConfig::checkNames(const QJsonObject &object, const QString &place,
                                 const QStringList &known)
{
    const QStringList names = object.keys();
    for (const QString &name : names) {
        if (!known.contains(name))
            return refuse(member(place, name),
                          QStringLiteral("not known; known are ")
                              + known.join(QLatin1String(", ")));
    }
    return true;
}

bool EquipmentConfig::readText(const QJsonObject &object, const QString &place, const QString &name,
                               QString *text)
{
    const QJsonValue value = object.value(name);
    if (value.isUndefined())
        return true;
    if (!value.isString())
        return refuse(member(place, name), QStringLiteral("a text is expected"));
    *text = value.toString();
    return isLatin1(*text)
        || refuse(member(place, name), QStringLiteral("only Latin-1 characters can be sent"));
}

bool EquipmentConfig::readNumber(const QJsonObject &object, const QString &place,
                                 const QString &name, int smallest, int largest, int *number)
{
    const QJsonValue value = object.value(name);
    if (value.isUndefined())
        return true;
    const double given = value.toDouble();
    if (!value.isDouble() || given < smallest || given > largest
        || given != static_cast<double>(static_cast<qint64>(given)))
        return refuse(
            member(place, name),
            QStringLiteral("a whole number from %1 to %2 is expected").arg(smallest).arg(largest));
    *number = static_cast<int>(given);
    return true;
}

// Only now, since a scan board may stand before its controller.
bool EquipmentConfig::checkControllers()
{
    QStringList controllers;
    for (const EquipmentDescription &description : qAsConst(m_equipment)) {
        if (description.kind == EquipmentDescription::Kind::Controller)
            controllers.append(description.key);
    }
    for (int i = 0; i < m_equipment.size(); ++i) {
        const EquipmentDescription &description = m_equipment.at(i);
        const QString place = QStringLiteral("equipment[%1].controller").arg(i);
        const bool isBoard = description.kind == EquipmentDescription::Kind::ScanBoard;
        if (isBoard && !controllers.contains(description.controller))
            return refuse(
                place, QStringLiteral("there is no controller \"%1\"").arg(description.controller));
    }
    return true;
}

bool EquipmentConfig::refuse(const QString &place, const QString &reason)
{
    m_equipment.clear();
    m_error = place + QLatin1String(": ") + reason;
    return false;
}
