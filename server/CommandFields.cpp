#include "CommandFields.h"

#include "JsonFields.h"

#include <limits>

namespace {

constexpr int LargestCount = 1000 * 1000;
constexpr int LastPort = 127;
constexpr int LastScanBoard = 1023;

const QStringList ResultNames{QStringLiteral("success"),     QStringLiteral("timedOut"),
                              QStringLiteral("rejected"),    QStringLiteral("noEquipment"),
                              QStringLiteral("writeFailed"), QStringLiteral("badReply"),
                              QStringLiteral("cancelled")};

} // namespace

QString CommandFields::equipmentKey(JsonFields *fields, const QStringList &keys)
{
    QString key = fields->text("key");
    if (!keys.contains(key))
        fields->refuse("key", QStringLiteral("there is no equipment \"%1\"").arg(key));
    return key;
}

EquipmentMemory::Place CommandFields::place(JsonFields *fields)
{
    return {
        static_cast<int>(fields->number("port", 0, LastPort, 0)),
        static_cast<int>(fields->number("scanBoard", 0, LastScanBoard, 0)),
        static_cast<quint32>(fields->number("address", 0, std::numeric_limits<quint32>::max(), 0))};
}

int CommandFields::result(JsonFields *fields)
{
    return static_cast<int>(fields->numberOrName("result", ResultNames,
                                                 std::numeric_limits<int>::min(),
                                                 std::numeric_limits<int>::max(), 0));
}

int CommandFields::count(JsonFields *fields, int initial)
{
    return static_cast<int>(
        fields->numberOrName("count", {QStringLiteral("always")}, 0, LargestCount, initial));
}
