#include "DeviceServer.h"

#include "ClientConnection.h"
#include "MessageBody.h"
#include "PackageBase.h"
#include "ServerLog.h"

#include <QDeadlineTimer>

namespace {

constexpr int HeartbeatMs = 3000;
constexpr int GoodbyeMs = 2000;
const QString Version = QStringLiteral(KSPROXY_VERSION);

QString identity()
{
    PackageBase package;
    package.setTag(QStringLiteral("identify"));
    package.setData("KVTServerMaster " KSPROXY_VERSION);
    return package.toReplyString() + QLatin1Char(',') + QString::number(TarnEnum::BroadcastReply);
}

} // namespace

DeviceServer::DeviceServer(const ServerOptions &options,
                           const QVector<EquipmentDescription> &equipment)
    : m_options(options)
    , m_rack(equipment)
{
    connect(&m_heartbeat, &QTimer::timeout, this, &DeviceServer::sendHeartbeats);
    m_heartbeat.start(HeartbeatMs);
    m_idleTimer.setSingleShot(true);
    connect(&m_idleTimer, &QTimer::timeout, this, &DeviceServer::idle);
    watchIdleness();
    for (const EquipmentDescription &late : equipment) {
        if (late.appearsAfterMs > 0)
            QTimer::singleShot(late.appearsAfterMs, this, [this, late] { appear(late); });
    }
}

DeviceServer::~DeviceServer()
{
    qDeleteAll(m_clients);
}

void DeviceServer::addClient(qintptr descriptor)
{
    auto *const client = new ClientConnection(descriptor, ++m_clientCount, m_options.latencyMs);
    m_clients.append(client);
    m_idleTimer.stop();
    ServerLog::detail(client->name() + QLatin1String(" has connected"));
    connect(client, &ClientConnection::bodyReceived, this,
            [this, client](const QByteArray &body) { receive(client, body); });
    connect(client, &ClientConnection::closed, this, [this, client] { removeClient(client); });
    connect(client->requests(), &RequestQueue::due, this,
            [this, client](const RequestQueue::Request &request) { carryOut(client, request); });
}

void DeviceServer::removeClient(ClientConnection *client)
{
    if (!m_clients.removeOne(client))
        return;
    ServerLog::detail(client->name() + QLatin1String(" has gone"));
    client->deleteLater();
    watchIdleness();
}

void DeviceServer::watchIdleness()
{
    if (m_options.exitWhenIdleSeconds > 0 && m_clients.isEmpty())
        m_idleTimer.start(m_options.exitWhenIdleSeconds * 1000);
}

void DeviceServer::sayGoodbye()
{
    const QList<ClientConnection *> clients = m_clients;
    for (ClientConnection *const client : clients)
        client->send(TarnEnum::Unregistered);
    const QDeadlineTimer deadline(GoodbyeMs); // for all: some may not read
    for (ClientConnection *const client : clients)
        client->flush(deadline);
}

void DeviceServer::sendHeartbeats()
{
    const QList<ClientConnection *> clients = m_clients;
    for (ClientConnection *const client : clients)
        client->send(TarnEnum::ServerAlive);
}

void DeviceServer::receive(ClientConnection *client, const QByteArray &body)
{
    if (body.isEmpty()) {
        ServerLog::line(client->name() + QLatin1String(" sent an empty message"));
        return;
    }
    const int id = MessageBody::id(body);
    const QString text = MessageBody::text(body);
    if (ServerLog::isVerbose())
        ServerLog::detail(QStringLiteral("from %1: %2 ").arg(client->name()).arg(id & 0xFF)
                          + ServerLog::quoted(text));
    if (DeviceRequest::isRequest(id)) {
        queueRequest(client, id, text);
        return;
    }
    switch (id) {
    case TarnEnum::RegisterClient:
        registerClient(client);
        break;
    case TarnEnum::ConnectOneController:
        connectOne(client, text);
        break;
    case TarnEnum::ConnectAllControllers:
        connectAll(client);
        break;
    case TarnEnum::CancelAllSends:
        cancel(client, [](const DeviceRequest &) { return true; });
        break;
    case TarnEnum::CancelOneSend:
        cancel(client,
               [text](const DeviceRequest &request) { return request.connectionKey() == text; });
        break;
    case TarnEnum::SendOrder:
        takeOrder(client, text);
        break;
    case TarnEnum::AutoConnectSwitch:
        setAutoConnect(client, text);
        break;
    default:
        ServerLog::line(QStringLiteral("%1 sent message %2, which is not known")
                            .arg(client->name())
                            .arg(id & 0xFF));
        break;
    }
}

void DeviceServer::registerClient(ClientConnection *client)
{
    switch (m_options.registerAnswer) {
    case ServerOptions::Answer::Accept:
        client->setRegistered(true);
        client->send(TarnEnum::RegisterSuccess, m_rack.tableText() + QLatin1Char(',') + Version);
        break;
    case ServerOptions::Answer::Reject:
        client->send(TarnEnum::RegisterRejected);
        break;
    case ServerOptions::Answer::Error:
        client->send(TarnEnum::RegisterError);
        break;
    case ServerOptions::Answer::Silent:
        break;
    }
}

void DeviceServer::connectOne(ClientConnection *client, const QString &name)
{
    notify(TarnEnum::BeginConnectEquipment, name, client);
    if (!m_rack.controllers().contains(name) || !m_rack.connectEquipment(name))
        ServerLog::line(client->name() + QLatin1String(" asks for a controller that is not there: ")
                        + ServerLog::quoted(name));
    notify(TarnEnum::EquipmentChange, m_rack.tableText(), client);
}

void DeviceServer::connectAll(ClientConnection *client)
{
    notify(TarnEnum::BeginConnectAllController, QString(), client);
    const QStringList controllers = m_rack.controllers();
    for (const QString &controller : controllers)
        notify(TarnEnum::BeginConnectEquipment, controller, client);
    m_rack.connectAll();
    notify(TarnEnum::CompleteConnectAllController, m_rack.tableText(), client);
}

void DeviceServer::queueRequest(ClientConnection *client, int id, const QString &text)
{
    const RequestQueue::Request request = DeviceRequest::read(id, text);
    if (request)
        client->requests()->add(request, text.size());
    else
        ServerLog::line(
            QStringLiteral("%1 sent a request %2 that cannot be read").arg(client->name()).arg(id));
}

void DeviceServer::carryOut(ClientConnection *client, const RequestQueue::Request &request)
{
    request->carryOut(&m_rack);
    client->send(request->replyType(), request->replyText());
    if (!request->hasWritten())
        return;
    const QString broadcast = request->broadcastText();
    const QList<ClientConnection *> clients = m_clients;
    for (ClientConnection *const other : clients) {
        if (other != client && other->isRegistered())
            other->send(TarnEnum::BroadcastReply, broadcast);
    }
}

void DeviceServer::cancel(ClientConnection *client,
                          const std::function<bool(const DeviceRequest &)> &isMeant)
{
    const std::vector<RequestQueue::Request> requests = client->requests()->take(isMeant);
    for (const RequestQueue::Request &request : requests) {
        request->cancel();
        client->send(request->replyType(), request->replyText());
    }
}

void DeviceServer::takeOrder(ClientConnection *client, const QString &order)
{
    ServerLog::line(client->name() + QLatin1String(" orders ") + ServerLog::quoted(order));
    if (order != QLatin1String("identify"))
        return;
    const QList<ClientConnection *> clients = m_clients;
    for (ClientConnection *const each : clients)
        each->send(TarnEnum::BroadcastReply, identity());
}

void DeviceServer::setAutoConnect(ClientConnection *client, const QString &text)
{
    if (text == QLatin1String("True"))
        m_connectsByItself = true;
    else if (text == QLatin1String("False"))
        m_connectsByItself = false;
    else
        ServerLog::line(
            client->name()
            + QLatin1String(" switches automatic connection to what is neither True nor False: ")
            + ServerLog::quoted(text));
}

void DeviceServer::appear(const EquipmentDescription &equipment)
{
    m_rack.appear(equipment.key);
    if (m_connectsByItself) {
        if (equipment.kind == EquipmentDescription::Kind::Controller)
            notify(TarnEnum::BeginConnectEquipment, equipment.key);
        m_rack.connectEquipment(equipment.key);
    }
    notify(TarnEnum::EquipmentChange, m_rack.tableText());
}

void DeviceServer::notify(int id, const QString &text, ClientConnection *asker)
{
    const QList<ClientConnection *> clients = m_clients;
    for (ClientConnection *const client : clients) {
        if (client == asker || client->isRegistered())
            client->send(id, text);
    }
}
