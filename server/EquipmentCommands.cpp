#include "CommandFields.h"
#include "CommandReader.h"
#include "DeviceServer.h"
#include "JsonFields.h"

#include <QJsonArray>

namespace {

QString notThere(const QString &key)
{
    return QStringLiteral("%1 is not there").arg(key);
}

Command list(JsonFields *, const QStringList &)
{
    return [](DeviceServer *server, QJsonObject *answer) {
        QJsonArray units;
        const QStringList keys = server->rack()->keys();
        for (const QString &key : keys)
            units.append(server->rack()->described(key)->state());
        answer->insert(QStringLiteral("equipment"), units);
        return QString();
    };
}

Command appear(JsonFields *fields, const QStringList &keys)
{
    return [key = CommandFields::equipmentKey(fields, keys)](DeviceServer *server, QJsonObject *) {
        if (server->rack()->find(key) != nullptr)
            return QStringLiteral("%1 is there already").arg(key);
        server->equipmentEvents()->appear(key);
        return QString();
    };
}

Command disappear(JsonFields *fields, const QStringList &keys)
{
    return [key = CommandFields::equipmentKey(fields, keys)](DeviceServer *server, QJsonObject *) {
        if (server->rack()->find(key) == nullptr)
            return notThere(key);
        server->equipmentEvents()->disappear(key);
        return QString();
    };
}

Command setConnected(JsonFields *fields, const QStringList &keys, bool connected)
{
    return [key = CommandFields::equipmentKey(fields, keys), connected](DeviceServer *server,
                                                                        QJsonObject *) {
        return server->equipmentEvents()->setConnected(key, connected) ? QString() : notThere(key);
    };
}

Command connectEquipment(JsonFields *fields, const QStringList &keys)
{
    return setConnected(fields, keys, true);
}

Command disconnectEquipment(JsonFields *fields, const QStringList &keys)
{
    return setConnected(fields, keys, false);
}

Command setLatency(JsonFields *fields, const QStringList &keys)
{
    const QString key = CommandFields::equipmentKey(fields, keys);
    const int ms = static_cast<int>(fields->number("ms", -1, CommandFields::LongestMs, -1));
    const int jitter = static_cast<int>(fields->number("jitter", 0, CommandFields::LongestMs, 0));
    return [key, ms, jitter](DeviceServer *server, QJsonObject *) {
        server->rack()->described(key)->setLatency(ms, jitter);
        return QString();
    };
}

Command setResult(JsonFields *fields, const QStringList &keys)
{
    const QString key = CommandFields::equipmentKey(fields, keys);
    const auto result = static_cast<TarnEnum::CommResults>(CommandFields::result(fields));
    const int count = CommandFields::count(fields, 0);
    return [key, result, count](DeviceServer *server, QJsonObject *) {
        server->rack()->described(key)->setResult(result, count);
        return QString();
    };
}

} // namespace

CommandTable equipmentCommands()
{
    return {{QStringLiteral("equipment"), list},
            {QStringLiteral("appear"), appear},
            {QStringLiteral("disappear"), disappear},
            {QStringLiteral("connect"), connectEquipment},
            {QStringLiteral("disconnect"), disconnectEquipment},
            {QStringLiteral("latency"), setLatency},
            {QStringLiteral("result"), setResult}};
}
