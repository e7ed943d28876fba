#include "ServerOnWire.h"

#include "EventWait.h"
#include "RawClient.h"
#include "SteeredServer.h"

#include <QJsonDocument>

namespace {

constexpr int FirstReply = 11;
constexpr int LastReply = 16;
constexpr int Broadcast = 18;
const QByteArray Identity("KVTServerMaster " KSPROXY_VERSION);
const QByteArray StatusCommand(R"({"do":"status"})");

QJsonObject described(const QByteArray &body)
{
    if (body.isEmpty())
        return {{QStringLiteral("empty"), true}};
    const int id = static_cast<quint8>(body.at(0));
    QByteArray text = body.mid(1);
    const bool isBroadcast = id == Broadcast;
    if (!isBroadcast && (id < FirstReply || id > LastReply))
        return {{QStringLiteral("id"), id},
                {QStringLiteral("text"), QString::fromLatin1(text.constData(), text.size())}};
    QJsonObject message{{QStringLiteral("id"), id}};
    if (isBroadcast) {
        const int comma = text.lastIndexOf(',');
        message.insert(QStringLiteral("kind"), text.mid(comma + 1).toInt());
        text.truncate(comma);
    }
    const QMap<QByteArray, QByteArray> fields = fieldsOf(text);
    QJsonObject object;
    for (auto field = fields.begin(); field != fields.end(); ++field)
        object.insert(QString::fromLatin1(field.key()), QString::fromLatin1(*field));
    // The server numbers its own.
    if (isBroadcast && message.value(QLatin1String("kind")).toInt() == Broadcast)
        object.remove(QStringLiteral("serialNum"));
    message.insert(QStringLiteral("fields"), object);
    return message;
}

QJsonArray described(const QList<QByteArray> &bodies)
{
    QJsonArray messages;
    for (const QByteArray &body : bodies)
        messages.append(described(body));
    return messages;
}

/// What the table leaves out because it is as usual.
QJsonArray inFull(const QJsonArray &messages, const QJsonObject &reply)
{
    QJsonArray full;
    const QLatin1String fields("fields");
    for (const QJsonValue element : messages) {
        QJsonObject message = element.toObject();
        if (message.contains(fields))
            message.insert(fields, mergedFields(reply, message.value(fields).toObject()));
        full.append(message);
    }
    return full;
}

/// One run: a server in the vector's state and its two clients.
class Run
{
public:
    bool start(const QString &scenario, const QJsonObject &state);
    bool send(const QVector<QByteArray> &pieces);
    QJsonObject observe();

private:
    static bool enter(RawClient *client, bool registers);
    bool settle();

    SteeredServer m_server;
    RawClient m_client;
    RawClient m_other;
};

bool Run::start(const QString &scenario, const QJsonObject &state)
{
    const QString latency = QString::number(state.value(QLatin1String("latency")).toInt());
    if (!m_server.start(
            {QStringLiteral("--scenario"), scenario, QStringLiteral("--latency"), latency})
        || !enter(&m_other, true)
        || !enter(&m_client, state.value(QLatin1String("registered")).toBool()))
        return false;
    m_client.clear();
    m_other.clear();
    return true;
}

bool Run::enter(RawClient *client, bool registers)
{
    if (!client->connectToServer())
        return false;
    if (!registers)
        return true;
    client->send(0);
    return waitInEvents([client] { return client->count(0) == 1; });
}

// Two round trips: the first may be answered before what came at the same time is read.
bool Run::settle()
{
    return waitInEvents([this] { return m_client.socket().bytesToWrite() == 0; })
        && m_server.control.tell(StatusCommand) && m_server.control.tell(StatusCommand);
}

bool Run::send(const QVector<QByteArray> &pieces)
{
    for (const QByteArray &piece : pieces) {
        m_client.sendBytes(piece);
        if (!settle())
            return false;
    }
    return true;
}

QJsonObject Run::observe()
{
    settle();
    const QJsonObject status = m_server.control.call(StatusCommand);
    QCoreApplication::processEvents();
    const bool isKept = m_client.isConnected();
    return {
        {QStringLiteral("back"), described(m_client.bodies())},
        {QStringLiteral("others"), described(m_other.bodies())},
        {QStringLiteral("connection"), isKept ? QStringLiteral("kept") : QStringLiteral("dropped")},
        {QStringLiteral("connectsByItself"), status.value(QLatin1String("automaticConnection"))}};
}

} // namespace

ServerOnWire::ServerOnWire(const QJsonObject &common)
    : m_scenario(SteeredServer::written(
        QStringLiteral("vectors.json"),
        QJsonDocument(common.value(QLatin1String("scenario")).toObject()).toJson()))
    , m_reply(common.value(QLatin1String("reply")).toObject())
{ }

QJsonObject ServerOnWire::expectedOf(const WireVector &vector) const
{
    const WireNames names{{QStringLiteral("version"), QStringLiteral(KSPROXY_VERSION)},
                          {QStringLiteral("identity"), QString::fromLatin1(Identity.toBase64())},
                          {QStringLiteral("identity length"), QString::number(Identity.size())}};
    const QJsonObject effect = vector.effect(names);
    const auto messages = [&](const char *field) {
        return inFull(effect.value(QLatin1String(field)).toArray(), m_reply);
    };
    const QLatin1String switched("connectsByItself");
    const bool connectsByItself
        = effect.value(switched).toBool(vector.start().value(switched).toBool());
    return {{QStringLiteral("back"), messages("back")},
            {QStringLiteral("others"), messages("others")},
            {QStringLiteral("connection"),
             effect.value(QLatin1String("connection")).toString(QStringLiteral("kept"))},
            {switched, connectsByItself}};
}

WireOutcome ServerOnWire::play(const WireVector &vector, const WireDamage &damage)
{
    const QJsonObject expected = expectedOf(vector);
    Run run;
    if (!run.start(m_scenario, vector.start()) || !run.send(vector.pieces(WireNames(), damage)))
        return {expected, {}};
    // What is damaged need not come at all.
    if (damage.change == 0)
        waitInEvents([&] { return run.observe() == expected; });
    return {expected, run.observe()};
}
