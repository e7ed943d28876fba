#include "ClientChoice.h"
#include "ClientConnection.h"
#include "CommandFields.h"
#include "CommandReader.h"
#include "DeviceRequest.h"
#include "DeviceServer.h"
#include "JsonFields.h"
#include "PackageBase.h"

namespace {

constexpr int LastIdentifier = 255;

std::shared_ptr<PackageBase> readPackage(JsonFields *fields, int type)
{
    std::shared_ptr<PackageBase> package = type == TarnEnum::BroadcastReply
        ? std::make_unique<PackageBase>()
        : DeviceRequest::newPackage(type - TarnEnum::ReplyReadData + TarnEnum::RequestReadData);
    const EquipmentMemory::Place place = CommandFields::place(fields);
    package->setServerConnectionKey(fields->text("key"));
    package->setPortAddr(static_cast<qint8>(place.port));
    package->setScanBoardAddr(place.scanBoard);
    package->setHighAddr(static_cast<quint16>(place.address >> 16));
    package->setLowAddr(static_cast<quint16>(place.address & 0xFFFF));
    package->setTag(fields->text("tag"));
    package->setCommResult(static_cast<TarnEnum::CommResults>(CommandFields::result(fields)));
    package->setData(fields->hex("hex"));
    return package;
}

Command broadcast(JsonFields *fields, const QStringList &)
{
    const int type = static_cast<int>(fields->number(
        "type", TarnEnum::ReplyReadData, TarnEnum::BroadcastReply, TarnEnum::ReplyWriteData));
    if (type == TarnEnum::ReplyReserved17)
        fields->refuse("type", QStringLiteral("17 is no kind of reply"));
    if (!fields->isGood())
        return {};
    return [type, package = readPackage(fields, type)](DeviceServer *server, QJsonObject *) {
        server->clients()->broadcast(TarnEnum::BroadcastReply,
                                     package->toReplyString() + QLatin1Char(',')
                                         + QString::number(type),
                                     package->getSeverConnectionKey());
        return QString();
    };
}

Command heartbeat(JsonFields *, const QStringList &)
{
    return [](DeviceServer *server, QJsonObject *) {
        server->clients()->tellAll(TarnEnum::ServerAlive);
        return QString();
    };
}

Command notify(JsonFields *fields, const QStringList &)
{
    fields->require("id");
    const int id = static_cast<int>(fields->number("id", 0, LastIdentifier, 0));
    const ClientChoice choice = ClientChoice::read(fields, ClientChoice::Otherwise::Registered);
    return [id, text = fields->text("text"), choice](DeviceServer *server, QJsonObject *) {
        QString error;
        const QList<ClientConnection *> clients = choice.among(*server->clients(), &error);
        for (ClientConnection *const client : clients)
            client->send(id, text);
        return error;
    };
}

Command sendBytes(JsonFields *fields, const QStringList &)
{
    fields->require("hex");
    const ClientChoice choice = ClientChoice::read(fields, ClientChoice::Otherwise::All);
    return [bytes = fields->hex("hex"), choice](DeviceServer *server, QJsonObject *) {
        QString error;
        const QList<ClientConnection *> clients = choice.among(*server->clients(), &error);
        for (ClientConnection *const client : clients)
            client->sendBytes(bytes);
        return error;
    };
}

} // namespace

CommandTable messageCommands()
{
    return {{QStringLiteral("broadcast"), broadcast},
            {QStringLiteral("heartbeat"), heartbeat},
            {QStringLiteral("notify"), notify},
            {QStringLiteral("send"), sendBytes}};
}
