#include "EquipmentReader.h"

#include "CommandFields.h"
#include "EquipmentKeyText.h"
#include "JsonFields.h"
#include "MemoryReader.h"

#include <limits>

namespace {

constexpr int LargestInt = std::numeric_limits<int>::max();
constexpr int LargestMemory = 16 * 1024 * 1024;
constexpr int LargestPorts = 128; // a port address is a signed byte
constexpr int LargestScanBoards = 1024;
constexpr qint64 LargestMemoryInAll = 256LL * 1024 * 1024;

int number(JsonFields *fields, const char *name, int smallest, int largest, int initial)
{
    return static_cast<int>(fields->number(name, smallest, largest, initial));
}

void readKey(JsonFields *fields, EquipmentDescription *description)
{
    description->key = fields->text("key");
    if (description->key.isEmpty())
        fields->refuse("key", QStringLiteral("a text that is not empty is required"));
    if (EquipmentKeyText::unescaped(EquipmentKeyText::escaped(description->key))
        != description->key)
        fields->refuse(
            "key",
            QStringLiteral("\"%1\" cannot be told apart once it is escaped").arg(description->key));
}

void readKind(JsonFields *fields, EquipmentDescription *description)
{
    const bool isBoard
        = fields->choice("kind", {QStringLiteral("controller"), QStringLiteral("scanBoard")}) == 1;
    description->kind
        = isBoard ? EquipmentDescription::Kind::ScanBoard : EquipmentDescription::Kind::Controller;
    description->controller = fields->text("controller");
    if (!isBoard && fields->has("controller"))
        fields->refuse("controller", QStringLiteral("a controller belongs to none"));
}

void readSize(JsonFields *fields, EquipmentDescription *description)
{
    description->memory = number(fields, "memory", 1, LargestMemory, description->memory);
    description->ports = number(fields, "ports", 1, LargestPorts, description->ports);
    description->scanBoards
        = number(fields, "scanBoards", 1, LargestScanBoards, description->scanBoards);
    const qint64 inAll = qint64(description->memory) * description->ports * description->scanBoards;
    if (inAll > LargestMemoryInAll)
        fields->refuse(QStringLiteral("memory * ports * scanBoards is %1 bytes, over %2")
                           .arg(inAll)
                           .arg(LargestMemoryInAll));
}

void readBehaviour(JsonFields *fields, EquipmentDescription *description)
{
    using CommandFields::LongestMs;
    description->appearsAfterMs = number(fields, "appearsAfter", 0, LargestInt, 0);
    description->isAbsent = fields->flag("absent", false);
    description->latencyMs = number(fields, "latency", -1, LongestMs, -1);
    description->jitterMs = number(fields, "jitter", 0, LongestMs, 0);
    description->connectTimeMs = number(fields, "connectTime", 0, LongestMs, 0);
    description->result = static_cast<TarnEnum::CommResults>(CommandFields::result(fields));
}

} // namespace

EquipmentDescription EquipmentReader::read(JsonFields *fields, const QString &folder)
{
    EquipmentDescription description;
    readKey(fields, &description);
    readKind(fields, &description);
    description.serial = number(fields, "serial", std::numeric_limits<int>::min(), LargestInt, 0);
    description.text = fields->text("text");
    if (description.text.contains(QLatin1Char(',')) || description.text.contains(QLatin1Char('/')))
        fields->refuse("text",
                       QStringLiteral("\",\" and \"/\" separate records and fields "
                                      "of the equipment table"));
    readSize(fields, &description);
    readBehaviour(fields, &description);
    MemoryReader::readPresets(fields, folder, &description);
    MemoryReader::readValues(fields, &description);
    fields->finish();
    return description;
}
