#include "MemoryReader.h"

#include "CommandFields.h"
#include "JsonFields.h"
#include "JsonText.h"

#include <QDir>

namespace {

constexpr int FewestMs = 10;
constexpr qint64 LargestNumber = 1LL << 48; // any whole number up to here is exact in JSON

const QStringList ValueKinds{QStringLiteral("ramp"), QStringLiteral("counter"),
                             QStringLiteral("noise")};

void checkPlace(JsonFields *fields, const EquipmentMemory::Place &place, int bytes,
                const EquipmentDescription &description)
{
    if (!EquipmentMemory(description.memory, description.ports, description.scanBoards)
             .contains(place, bytes))
        fields->refuse("address", QStringLiteral("%1 bytes there leave the memory").arg(bytes));
}

QByteArray readFile(JsonFields *fields, const QString &folder, int largest)
{
    QString error;
    const QString name = QDir(folder).filePath(fields->text("file"));
    QByteArray content = JsonText::fileContent(name, largest, &error);
    if (!error.isEmpty())
        fields->refuse("file", name + QLatin1Char(' ') + error);
    return content;
}

ChangingValue readValue(JsonFields *fields)
{
    ChangingValue value;
    value.kind = static_cast<ChangingValue::Kind>(fields->choice("kind", ValueKinds));
    value.place = CommandFields::place(fields);
    value.bytes = static_cast<int>(fields->number("bytes", 1, 8, value.bytes));
    value.everyMs = static_cast<int>(
        fields->number("every", FewestMs, CommandFields::LongestMs, value.everyMs));
    value.from = fields->number("from", -LargestNumber, LargestNumber, 0);
    if (value.kind != ChangingValue::Kind::Counter)
        value.to = fields->number("to", value.from, LargestNumber, value.from + 99);
    if (value.kind != ChangingValue::Kind::Noise)
        value.step = fields->number("step", 1, LargestNumber, 1);
    return value;
}

} // namespace

void MemoryReader::readPresets(JsonFields *fields, const QString &folder,
                               EquipmentDescription *description)
{
    const QVector<JsonFields> entries = fields->objects("presets");
    for (JsonFields entry : entries) {
        EquipmentDescription::Preset preset{CommandFields::place(&entry), entry.hex("hex")};
        if (entry.has("file") == entry.has("hex"))
            entry.refuse("file", QStringLiteral("either \"file\" or \"hex\" is required"));
        if (entry.isGood() && entry.has("file"))
            preset.data = readFile(&entry, folder, description->memory);
        checkPlace(&entry, preset.place, preset.data.size(), *description);
        entry.finish();
        description->presets.append(preset);
    }
}

void MemoryReader::readValues(JsonFields *fields, EquipmentDescription *description)
{
    const QVector<JsonFields> entries = fields->objects("values");
    for (JsonFields entry : entries) {
        const ChangingValue value = readValue(&entry);
        checkPlace(&entry, value.place, value.bytes, *description);
        entry.finish();
        description->values.append(value);
    }
}
