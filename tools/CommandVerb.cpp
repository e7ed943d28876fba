#include "CommandVerb.h"

SessionError CommandVerb::check() const
{
    return {};
}

void CommandVerb::ready()
{
    if (const SessionError error = check())
        return fail(error);
    if (!send())
        return fail(session()->lastError());
    // Writing nothing changes nothing, and every answer will do.
    const QMap<QString, EquipmentInfo> table = session()->equipmentTable();
    const QString key = table.isEmpty() ? QStringLiteral("none") : table.firstKey();
    DeviceReply *const reply = session()->write({key, 0}, QByteArray());
    connect(reply, &DeviceReply::finished, this, [this, reply] { follow(reply); });
}

void CommandVerb::follow(DeviceReply *reply)
{
    reply->deleteLater();
    const SessionError error = reply->sessionError();
    if (!error || error.deviceResult)
        taken();
    else
        fail(error);
}
