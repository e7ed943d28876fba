#include "DeviceServer.h"

#include "ClientConnection.h"
#include "MessageBody.h"
#include "PackageBase.h"
#include "ServerLog.h"

#include <QDeadlineTimer>

namespace {

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

DeviceServer::DeviceServer(const ServerOptions &options, const Scenario &scenario)
    : m_options(options)
    , m_rack(scenario.equipment, scenario.seed)
    , m_faults(scenario.seed)
    , m_equipmentEvents(&m_rack, &m_clients)
{
    connect(&m_heartbeat, &QTimer::timeout, this, &DeviceServer::sendHeartbeats);
    if (scenario.heartbeatMs > 0)
        m_heartbeat.start(scenario.heartbeatMs);
    m_idleTimer.setSingleShot(true);
    connect(&m_idleTimer, &QTimer::timeout, this, &DeviceServer::idle);
    watchIdleness();
    for (const Fault &fault : scenario.faults)
        m_faults.add(fault);
    for (const EquipmentDescription &late : scenario.equipment) {
        if (late.appearsAfterMs > 0)
            QTimer::singleShot(late.appearsAfterMs, this,
                               [this, key = late.key] { m_equipmentEvents.appear(key); });
    }
}

void DeviceServer::setRegisterAnswer(RegisterAnswer answer)
{
    m_options.registerAnswer = answer;
}

EquipmentRack *DeviceServer::rack()
{
    return &m_rack;
}

EquipmentEvents *DeviceServer::equipmentEvents()
{
    return &m_equipmentEvents;
}

ClientGroup *DeviceServer::clients()
{
    return &m_clients;
}

FaultPlan *DeviceServer::faults()
{
    return &m_faults;
}

void DeviceServer::addClient(qintptr descriptor)
{
    auto *const client = new ClientConnection(descriptor, ++m_clientCount, &m_faults);
    m_clients.add(client);
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
    if (!m_clients.remove(client))
        return;
    ServerLog::detail(client->name() + QLatin1String(" has gone"));
    watchIdleness();
}

void DeviceServer::watchIdleness()
{
    if (m_options.exitWhenIdleSeconds > 0 && m_clients.isEmpty())
        m_idleTimer.start(m_options.exitWhenIdleSeconds * 1000);
}

void DeviceServer::sayGoodbye()
{
    m_clients.tellAll(TarnEnum::Unregistered);
    const QDeadlineTimer deadline(GoodbyeMs); // for all: some may not read
    const QList<ClientConnection *> clients = m_clients.all();
    for (ClientConnection *const client : clients)
        client->flush(deadline);
}

// A server that stalls does not save them up.
void DeviceServer::sendHeartbeats()
{
    const QList<ClientConnection *> clients = m_clients.all();
    for (ClientConnection *const client : clients) {
        if (!client->isStalled())
            client->send(TarnEnum::ServerAlive);
    }
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
        m_equipmentEvents.connectController(text, client);
        break;
    case TarnEnum::ConnectAllControllers:
        m_equipmentEvents.connectAll(client);
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
    switch (m_faults.takeRegisterAnswer().value_or(m_options.registerAnswer)) {
    case RegisterAnswer::Accept:
        client->setRegistered(true);
        client->send(TarnEnum::RegisterSuccess, m_rack.tableText() + QLatin1Char(',') + Version);
        break;
    case RegisterAnswer::Reject:
        client->send(TarnEnum::RegisterRejected);
        break;
    case RegisterAnswer::Error:
        client->send(TarnEnum::RegisterError);
        break;
    case RegisterAnswer::Silent:
        break;
    }
}

void DeviceServer::queueRequest(ClientConnection *client, int id, const QString &text)
{
    const RequestQueue::Request request = DeviceRequest::read(id, text);
    if (!request) {
        ServerLog::line(
            QStringLiteral("%1 sent a request %2 that cannot be read").arg(client->name()).arg(id));
        return;
    }
    EquipmentUnit *const unit = m_rack.find(request->connectionKey());
    const int latencyMs
        = unit != nullptr ? unit->takeLatencyMs(m_options.latencyMs) : m_options.latencyMs;
    client->requests()->add(request, latencyMs, text.size());
}

void DeviceServer::carryOut(ClientConnection *client, const RequestQueue::Request &request)
{
    request->carryOut(&m_rack);
    reply(client, *request);
    if (request->hasWritten())
        m_clients.broadcast(TarnEnum::BroadcastReply, request->broadcastText(),
                            request->connectionKey(), client);
}

void DeviceServer::reply(ClientConnection *client, const DeviceRequest &request)
{
    client->send(request.replyType(), request.replyText(), request.connectionKey());
}

void DeviceServer::cancel(ClientConnection *client,
                          const std::function<bool(const DeviceRequest &)> &isMeant)
{
    const std::vector<RequestQueue::Request> requests = client->requests()->take(isMeant);
    for (const RequestQueue::Request &request : requests) {
        request->cancel();
        reply(client, *request);
    }
}

void DeviceServer::takeOrder(ClientConnection *client, const QString &order)
{
    ServerLog::line(client->name() + QLatin1String(" orders ") + ServerLog::quoted(order));
    if (order != QLatin1String("identify"))
        return;
    m_clients.tellAll(TarnEnum::BroadcastReply, identity());
}

void DeviceServer::setAutoConnect(ClientConnection *client, const QString &text)
{
    if (text == QLatin1String("True"))
        m_equipmentEvents.setConnectsByItself(true);
    else if (text == QLatin1String("False"))
        m_equipmentEvents.setConnectsByItself(false);
    else
        ServerLog::line(
            client->name()
            + QLatin1String(" switches automatic connection to what is neither True nor False: ")
            + ServerLog::quoted(text));
}
