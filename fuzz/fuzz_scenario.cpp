// The simulated server's JSON: scenarios and configurations.
//
// Input: the text.
#include "DeviceServer.h"
#include "EquipmentConfig.h"
#include "FuzzApplication.h"
#include "FuzzCheck.h"
#include "FuzzTarget.h"
#include "ScenarioReader.h"

#include <QFile>
#include <QSet>

namespace {

constexpr qint64 MostMemory = 1024LL * 1024; // of a server that is made in each execution

void writePreset(const QString &folder)
{
    QFile file(folder + QLatin1String("/preset"));
    if (!file.open(QIODevice::WriteOnly) || file.write("twelve bytes") < 0)
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}

void checkEquipment(const QVector<EquipmentDescription> &equipment)
{
    QSet<QString> controllers;
    QSet<QString> keys;
    for (const EquipmentDescription &description : equipment) {
        keys.insert(description.key);
        if (description.kind == EquipmentDescription::Kind::Controller)
            controllers.insert(description.key);
    }
    fuzzCheck(keys.size() == equipment.size() && !keys.contains(QString()), "keys are unique");
    for (const EquipmentDescription &description : equipment) {
        const bool isBoard = description.kind == EquipmentDescription::Kind::ScanBoard;
        fuzzCheck(controllers.contains(description.controller) == isBoard,
                  "a scan board has a controller");
        const EquipmentMemory memory(description.memory, description.ports, description.scanBoards);
        for (const EquipmentDescription::Preset &preset : description.presets)
            fuzzCheck(memory.contains(preset.place, preset.data.size()), "presets fit");
        for (const ChangingValue &value : description.values)
            fuzzCheck(memory.contains(value.place, value.bytes), "values fit");
    }
}

bool isSmall(const Scenario &scenario)
{
    qint64 bytes = 0;
    for (const EquipmentDescription &description : scenario.equipment)
        bytes += description.presets.size() * qint64(description.memory);
    return bytes <= MostMemory;
}

// Nothing is left to the event loop, so a command that ends the server does not end this program.
void play(const Scenario &scenario)
{
    DeviceServer server(ServerOptions(), scenario);
    for (const Scenario::Event &event : scenario.timeline) {
        QJsonObject answer;
        const QString error = event.command(&server, &answer);
        fuzzCheck(error.isEmpty() || !error.contains(QLatin1Char('\n')), "errors are one line");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const FuzzApplication application;
    static const bool isPrepared = (writePreset(application.folder()), true);
    Q_UNUSED(isPrepared)
    const auto json
        = QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size));

    ScenarioReader reader;
    const bool isScenario = reader.read(json, application.folder());
    fuzzCheck(reader.error().isEmpty() == isScenario, "what is refused is told, and nothing else");
    const Scenario &scenario = reader.scenario();
    checkEquipment(scenario.equipment);
    fuzzCheck(isScenario || (scenario.equipment.isEmpty() && scenario.timeline.isEmpty()),
              "nothing is kept of what is refused");
    if (isScenario && isSmall(scenario))
        play(scenario);

    EquipmentConfig config;
    const bool isConfig = config.read(json);
    fuzzCheck(config.error().isEmpty() == isConfig, "what is refused is told, and nothing else");
    checkEquipment(config.equipment());
    fuzzCheck(!isConfig || (isScenario && scenario.equipment.size() == config.equipment().size()),
              "a configuration is a scenario");
    return 0;
}
