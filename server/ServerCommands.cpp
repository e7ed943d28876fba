#include "ClientChoice.h"
#include "ClientConnection.h"
#include "CommandReader.h"
#include "DeviceServer.h"
#include "JsonFields.h"
#include "RegisterAnswer.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QTimer>

#include <unistd.h>

namespace {

QJsonObject stateOf(const ClientConnection &client)
{
    return {{QStringLiteral("client"), client.number()},
            {QStringLiteral("registered"), client.isRegistered()},
            {QStringLiteral("stalled"), client.isStalled()},
            {QStringLiteral("received"), static_cast<qint64>(client.received().total())},
            {QStringLiteral("sent"), static_cast<qint64>(client.sent().total())}};
}

Command status(JsonFields *, const QStringList &)
{
    return [](DeviceServer *server, QJsonObject *answer) {
        QJsonArray clients;
        const QList<ClientConnection *> all = server->clients()->all();
        for (const ClientConnection *const client : all)
            clients.append(stateOf(*client));
        answer->insert(QStringLiteral("version"), QStringLiteral(KSPROXY_VERSION));
        answer->insert(QStringLiteral("automaticConnection"),
                       server->equipmentEvents()->connectsByItself());
        answer->insert(QStringLiteral("clients"), clients);
        answer->insert(QStringLiteral("received"), server->clients()->received().byIdentifier());
        answer->insert(QStringLiteral("sent"), server->clients()->sent().byIdentifier());
        return QString();
    };
}

Command setRegisterAnswer(JsonFields *fields, const QStringList &)
{
    const auto answer
        = static_cast<RegisterAnswer>(fields->choice("answer", registerAnswerNames()));
    return [answer](DeviceServer *server, QJsonObject *) {
        server->setRegisterAnswer(answer);
        return QString();
    };
}

Command dropClient(JsonFields *fields, const QStringList &)
{
    const ClientChoice choice = ClientChoice::read(fields, ClientChoice::Otherwise::Nobody);
    return [choice](DeviceServer *server, QJsonObject *) {
        QString error;
        const QList<ClientConnection *> clients = choice.among(*server->clients(), &error);
        for (ClientConnection *const client : clients)
            client->drop();
        return error;
    };
}

// Once the answer is out.
Command exitServer(JsonFields *fields, const QStringList &)
{
    const bool saysGoodbye = fields->flag("goodbye", true);
    const int code = static_cast<int>(fields->number("code", 0, 255, 1));
    if (saysGoodbye && fields->has("code"))
        fields->refuse("code", QStringLiteral("only without a goodbye"));
    return [saysGoodbye, code](DeviceServer *server, QJsonObject *) {
        QTimer::singleShot(0, server, [saysGoodbye, code] {
            if (!saysGoodbye)
                _exit(code);
            QCoreApplication::quit();
        });
        return QString();
    };
}

} // namespace

CommandTable serverCommands()
{
    return {{QStringLiteral("status"), status},
            {QStringLiteral("register"), setRegisterAnswer},
            {QStringLiteral("drop"), dropClient},
            {QStringLiteral("exit"), exitServer}};
}
