#include "EquipmentConfig.h"

#include "EquipmentReader.h"
#include "JsonFields.h"
#include "JsonText.h"

#include <QFileInfo>
#include <QSet>

namespace {

const char BuiltInEquipment[] = R"({"equipment": [
  {"key": "COM1", "kind": "controller", "serial": 1001, "text": "Controller at a serial port"},
  {"key": "COM1/1", "kind": "scanBoard", "controller": "COM1", "serial": 2001, "text": "Scan board 1"},
  {"key": "COM1/2", "kind": "scanBoard", "controller": "COM1", "serial": 2002, "text": "Scan board 2"},
  {"key": "192.168.0.20:5000", "kind": "controller", "serial": 1002, "text": "Controller in the LAN"},
  {"key": "192.168.0.20:5000/1", "kind": "scanBoard", "controller": "192.168.0.20:5000",
   "serial": 2003, "text": "Scan board in the LAN"}
]})";

// Only when all are read, since a scan board may stand before its controller.
void checkControllers(QVector<JsonFields> *entries, const QVector<EquipmentDescription> &equipment)
{
    QStringList controllers;
    for (const EquipmentDescription &description : equipment) {
        if (description.kind == EquipmentDescription::Kind::Controller)
            controllers.append(description.key);
    }
    for (int i = 0; i < equipment.size(); ++i) {
        const EquipmentDescription &description = equipment.at(i);
        if (description.kind == EquipmentDescription::Kind::ScanBoard
            && !controllers.contains(description.controller))
            (*entries)[i].refuse(
                "controller",
                QStringLiteral("there is no controller \"%1\"").arg(description.controller));
    }
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

QVector<EquipmentDescription> EquipmentConfig::readList(JsonFields *fields, const QString &folder)
{
    QVector<EquipmentDescription> equipment;
    QSet<QString> keys;
    QVector<JsonFields> entries = fields->objects("equipment");
    for (JsonFields &entry : entries) {
        const EquipmentDescription description = EquipmentReader::read(&entry, folder);
        if (keys.contains(description.key))
            entry.refuse("key", QStringLiteral("\"%1\" is there already").arg(description.key));
        keys.insert(description.key);
        equipment.append(description);
    }
    checkControllers(&entries, equipment);
    return fields->isGood() ? equipment : QVector<EquipmentDescription>();
}

bool EquipmentConfig::readFile(const QString &fileName)
{
    const QByteArray json = JsonText::fileContent(fileName, JsonText::LargestFile, &m_error);
    if (m_error.isEmpty()
        && readObject(JsonText::parsed(json, &m_error), QFileInfo(fileName).path()))
        return true;
    m_error = fileName + QLatin1String(": ") + m_error;
    return false;
}

bool EquipmentConfig::read(const QByteArray &json)
{
    return readObject(JsonText::parsed(json, &m_error), QString());
}

const QVector<EquipmentDescription> &EquipmentConfig::equipment() const
{
    return m_equipment;
}

QString EquipmentConfig::error() const
{
    return m_error;
}

bool EquipmentConfig::readObject(const QJsonObject &object, const QString &folder)
{
    JsonFields fields(object, QString(), &m_error);
    if (!fields.has("equipment"))
        fields.refuse("equipment", QStringLiteral("a list is expected"));
    m_equipment = readList(&fields, folder);
    if (!fields.finish())
        m_equipment.clear();
    return m_error.isEmpty();
}
