#include "ScenarioReader.h"

#include "CommandFields.h"
#include "CommandReader.h"
#include "EquipmentConfig.h"
#include "JsonFields.h"
#include "JsonText.h"

#include <QFileInfo>

#include <limits>

namespace {

constexpr int LargestTimes = 1000 * 1000;
constexpr int LongestHeartbeatMs = CommandFields::LongestMs;

QStringList keysOf(const QVector<EquipmentDescription> &equipment)
{
    QStringList keys;
    for (const EquipmentDescription &description : equipment)
        keys.append(description.key);
    return keys;
}

QVector<Fault> readFaults(JsonFields *fields)
{
    QVector<Fault> faults;
    const QVector<JsonFields> entries = fields->objects("faults");
    for (JsonFields entry : entries) {
        faults.append(Fault::read(&entry));
        entry.finish();
    }
    return faults;
}

Scenario::Event readEvent(JsonFields *fields, const CommandReader &commands)
{
    using CommandFields::LongestMs;
    Scenario::Event event;
    event.place = fields->place();
    fields->require("at");
    event.atMs = static_cast<int>(fields->number("at", 0, LongestMs, 0));
    event.everyMs = static_cast<int>(fields->number("every", 1, LongestMs, 0));
    event.times = static_cast<int>(fields->number("times", 1, LargestTimes, 0));
    if (fields->has("times") && !fields->has("every"))
        fields->refuse("times", QStringLiteral("only together with \"every\""));
    event.command = commands.read(fields);
    fields->finish();
    return event;
}

} // namespace

bool ScenarioReader::readFile(const QString &fileName)
{
    const QByteArray json = JsonText::fileContent(fileName, JsonText::LargestFile, &m_error);
    if (m_error.isEmpty() && read(json, QFileInfo(fileName).path()))
        return true;
    m_error = fileName + QLatin1String(": ") + m_error;
    return false;
}

bool ScenarioReader::read(const QByteArray &json, const QString &folder)
{
    m_scenario = Scenario();
    const QJsonObject object = JsonText::parsed(json, &m_error);
    JsonFields fields(object, QString(), &m_error);
    m_scenario.equipment = fields.has("equipment") ? EquipmentConfig::readList(&fields, folder)
                                                   : EquipmentConfig::builtIn();
    m_scenario.seed = static_cast<quint32>(
        fields.number("seed", 0, std::numeric_limits<quint32>::max(), m_scenario.seed));
    m_scenario.heartbeatMs = static_cast<int>(
        fields.number("heartbeat", 0, LongestHeartbeatMs, m_scenario.heartbeatMs));
    m_scenario.faults = readFaults(&fields);
    const CommandReader commands(keysOf(m_scenario.equipment));
    const QVector<JsonFields> events = fields.objects("timeline");
    for (JsonFields event : events)
        m_scenario.timeline.append(readEvent(&event, commands));
    if (fields.finish())
        return true;
    m_scenario = Scenario();
    return false;
}

const Scenario &ScenarioReader::scenario() const
{
    return m_scenario;
}

QString ScenarioReader::error() const
{
    return m_error;
}
