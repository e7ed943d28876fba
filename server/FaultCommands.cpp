#include "ClientChoice.h"
#include "ClientConnection.h"
#include "CommandFields.h"
#include "CommandReader.h"
#include "DeviceServer.h"
#include "JsonFields.h"

#include <limits>

namespace {

Command setFault(JsonFields *fields, const QStringList &)
{
    return [fault = Fault::read(fields)](DeviceServer *server, QJsonObject *answer) {
        answer->insert(QStringLiteral("number"), server->faults()->add(fault));
        return QString();
    };
}

Command listFaults(JsonFields *, const QStringList &)
{
    return [](DeviceServer *server, QJsonObject *answer) {
        answer->insert(QStringLiteral("faults"), server->faults()->description());
        return QString();
    };
}

Command clearFaults(JsonFields *fields, const QStringList &)
{
    const int number
        = static_cast<int>(fields->number("number", 1, std::numeric_limits<int>::max(), 0));
    return [number](DeviceServer *server, QJsonObject *) {
        if (number == 0)
            server->faults()->clear();
        else if (!server->faults()->clear(number))
            return QStringLiteral("there is no fault %1").arg(number);
        return QString();
    };
}

Command stall(JsonFields *fields, const QStringList &)
{
    const ClientChoice choice = ClientChoice::read(fields, ClientChoice::Otherwise::All);
    const int ms = static_cast<int>(fields->number("ms", 0, CommandFields::LongestMs, 0));
    return [choice, ms](DeviceServer *server, QJsonObject *) {
        QString error;
        const QList<ClientConnection *> clients = choice.among(*server->clients(), &error);
        for (ClientConnection *const client : clients)
            client->stall(ms);
        if (!choice.isOne())
            server->clients()->stallNewcomers(ms);
        return error;
    };
}

Command release(JsonFields *fields, const QStringList &)
{
    const ClientChoice choice = ClientChoice::read(fields, ClientChoice::Otherwise::All);
    return [choice](DeviceServer *server, QJsonObject *) {
        QString error;
        if (!choice.isOne())
            server->clients()->admitNewcomers();
        const QList<ClientConnection *> clients = choice.among(*server->clients(), &error);
        for (ClientConnection *const client : clients)
            client->release();
        return error;
    };
}

} // namespace

CommandTable faultCommands()
{
    return {{QStringLiteral("fault"), setFault},
            {QStringLiteral("faults"), listFaults},
            {QStringLiteral("clear"), clearFaults},
            {QStringLiteral("stall"), stall},
            {QStringLiteral("release"), release}};
}
