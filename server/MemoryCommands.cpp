#include "CommandFields.h"
#include "CommandReader.h"
#include "DeviceServer.h"
#include "JsonFields.h"

namespace {

constexpr int LongestRead = 256 * 1024;

QString outside(const QString &key)
{
    return QStringLiteral("%1 has no such memory").arg(key);
}

Command readMemory(JsonFields *fields, const QStringList &keys)
{
    const QString key = CommandFields::equipmentKey(fields, keys);
    const EquipmentMemory::Place place = CommandFields::place(fields);
    const int length = static_cast<int>(fields->number("length", 1, LongestRead, 1));
    return [key, place, length](DeviceServer *server, QJsonObject *answer) {
        QByteArray data;
        if (!server->rack()->described(key)->memory()->read(place, length, &data))
            return outside(key);
        answer->insert(QStringLiteral("hex"), QString::fromLatin1(data.toHex()));
        return QString();
    };
}

Command writeMemory(JsonFields *fields, const QStringList &keys)
{
    const QString key = CommandFields::equipmentKey(fields, keys);
    const EquipmentMemory::Place place = CommandFields::place(fields);
    fields->require("hex");
    return [key, place, data = fields->hex("hex")](DeviceServer *server, QJsonObject *) {
        const bool isDone = server->rack()->described(key)->memory()->write(place, data);
        return isDone ? QString() : outside(key);
    };
}

} // namespace

CommandTable memoryCommands()
{
    return {{QStringLiteral("read"), readMemory}, {QStringLiteral("write"), writeMemory}};
}
