#include "LibraryOnWire.h"

#include "EventWait.h"
#include "LocalPeer.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestProxy.h"

#include <vector>

namespace {

const QLatin1String Own("own");

QJsonObject tableOf(const QMap<QString, EquipmentInfo> &table)
{
    QJsonObject object;
    for (const EquipmentInfo &record : table)
        object.insert(
            record.connectionKey,
            QJsonArray{record.shortValue, record.longValue, record.text, record.intValue});
    return object;
}

QMap<QString, EquipmentInfo> tableOf(const QJsonObject &object)
{
    QMap<QString, EquipmentInfo> table;
    for (auto field = object.begin(); field != object.end(); ++field) {
        const QJsonArray values = QJsonValue(*field).toArray();
        EquipmentInfo record;
        record.connectionKey = field.key();
        record.shortValue = static_cast<qint16>(values.at(0).toInt());
        record.longValue = values.at(1).toInt();
        record.text = values.at(2).toString();
        record.intValue = values.at(3).toInt();
        table.insert(field.key(), record);
    }
    return table;
}

/// One run: a proxy in the vector's state, its requests, and everything that it does.
class Run : public QObject
{
public:
    explicit Run(const WireVector &vector);

    bool isConnected() const
    {
        return m_peer.isConnected();
    }
    WireNames names() const;
    /// False when it is not read in time.
    bool send(const QByteArray &piece);
    QJsonObject observe();

private:
    void setState(const QJsonObject &state);
    void makeRequest(const QString &kind);
    void record();
    void add(const char *signalName, const QJsonValue &value)
    {
        m_signals.append(QJsonArray{QLatin1String(signalName), value});
    }
    QJsonObject described(const PackageBase &package) const;
    QJsonArray pending();

    LocalPeer m_peer;
    QObject m_packages; // parent of the requests; outlives the proxy, which deletes some
    TestProxy m_proxy;
    std::vector<PackageBase *> m_requests; // null for a command
    QVector<quint64> m_numbers;
    quint64 m_firstOwn = 0;
    qint64 m_sent = 0;
    qint64 m_taken = 0;
    QJsonArray m_signals;
    QJsonArray m_completed;
};

Run::Run(const WireVector &vector)
{
    if (!m_proxy.connectServer() || !waitInEvents([this] { return m_peer.isConnected(); }))
        return;
    connect(TestAccess::client(*m_proxy), &MsgSocketClient::receivedInfos, this,
            [this](const QByteArray &body) { m_taken += 4 + body.size(); });
    setState(vector.start());
    const QStringList kinds = vector.requests();
    for (const QString &kind : kinds)
        makeRequest(kind);
    m_firstOwn = PackageBase().getSerialNum();
    record();
}

void Run::setState(const QJsonObject &state)
{
    m_proxy->setRegisted(state.value(QLatin1String("registered")).toBool());
    TestAccess::serverVersion(*m_proxy) = state.value(QLatin1String("version")).toString();
    m_proxy->setEquipmentTable(tableOf(state.value(QLatin1String("table")).toObject()));
}

// Really sent, so that they wait as the application's do.
void Run::makeRequest(const QString &kind)
{
    PackageBase *package = nullptr;
    if (kind == QLatin1String("command")) {
        m_proxy->SendCommand(TarnEnum::ConnectAllControllers, QString());
    } else {
        if (kind == QLatin1String("read"))
            package = new PackageRequestReadData;
        else
            package = new PackageRequestWriteData;
        package->setParent(&m_packages);
        const int number = static_cast<int>(m_requests.size()) + 1;
        package->setCompletionHandler([this, number](void *, PackageBase *reply) {
            QJsonObject completion = described(*reply);
            completion.insert(QStringLiteral("request"), number);
            m_completed.append(completion);
        });
        m_proxy->SendPackageMessage(package);
    }
    m_requests.push_back(package);
    m_numbers.append(package != nullptr ? package->getSerialNum() : 0);
    m_proxy->SendThreadFun(false);
}

WireNames Run::names() const
{
    WireNames names;
    for (int i = 0; i < m_numbers.size(); ++i)
        names.insert(QString::number(i + 1), QString::number(m_numbers.at(i)));
    return names;
}

void Run::record()
{
    using Proxy = IKVTServerBaseProxy;
    Proxy *const proxy = &*m_proxy;
    connect(proxy, &Proxy::EquipmentChangeEvent, this,
            [this](void *, const EventArgs &args) { add("EquipmentChangeEvent", args.value()); });
    connect(proxy, &Proxy::BeginConnectEquipment, this,
            [this](void *, const ConnectEquipmentEventArgs &args) {
                add("BeginConnectEquipment", args.portNam());
            });
    connect(proxy, &Proxy::NotifyRegisterErrEvent, this,
            [this](void *, const NotifyRegisterErrorEventArgs &args) {
                add("NotifyRegisterErrEvent", args.errInfo());
            });
    connect(proxy, &Proxy::CompleteConnectEquipment, this,
            [this](void *, const ConnectEquipmentEventArgs &args) {
                add("CompleteConnectEquipment", args.portNam());
            });
    connect(proxy, &Proxy::BeginConnectAllController, this, [this](void *, const EventArgs &args) {
        add("BeginConnectAllController", args.value());
    });
    connect(proxy, &Proxy::CompleteConnectAllController, this,
            [this](void *, const EventArgs &args) {
                add("CompleteConnectAllController", args.value());
            });
    connect(proxy, &Proxy::CallBackBroadcastRecvedReplyEvent, this,
            [this](void *, const CompletePackageRequestEventArgs &args) {
                add("CallBackBroadcastRecvedReplyEvent", described(*args.request()));
            });
}

QJsonObject Run::described(const PackageBase &package) const
{
    const auto *const write = dynamic_cast<const PackageRequestWrite *>(&package);
    const int kind
        = write != nullptr ? write->getClientPackageType() : package.getClientPackageType();
    // A number that the text did not give.
    const quint64 number = package.getSerialNum();
    const bool isOwn = number > m_firstOwn && number < PackageBase().getSerialNum();
    const QByteArray data = package.getData();
    return {{QStringLiteral("codes"), QJsonArray{package.getReadWriteCode(), kind}},
            {QStringLiteral("serial"), isOwn ? QString(Own) : QString::number(number)},
            {QStringLiteral("result"), package.getCommResult()},
            {QStringLiteral("key"), package.getSeverConnectionKey()},
            {QStringLiteral("tag"), package.getTag()},
            {QStringLiteral("data"), QString::fromLatin1(data.constData(), data.size())}};
}

bool Run::send(const QByteArray &piece)
{
    m_peer.send(piece);
    m_sent += piece.size();
    const FrameReader &reader = TestAccess::reader(*TestAccess::client(*m_proxy));
    return waitInEvents([&] { return m_taken + reader.pendingBytes() == m_sent; });
}

QJsonArray Run::pending()
{
    QJsonArray numbers;
    const QList<PackageBase *> waiting = TestAccess::requestList(*m_proxy);
    for (size_t i = 0; i < m_requests.size(); ++i) {
        if (m_requests[i] != nullptr && waiting.contains(m_requests[i]))
            numbers.append(static_cast<int>(i) + 1);
    }
    return numbers;
}

QJsonObject Run::observe()
{
    QCoreApplication::sendPostedEvents(&*m_proxy);
    const int queued = TestAccess::notifyList(*m_proxy).size();
    m_proxy->NotifyThreadFun(false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const FrameReader &reader = TestAccess::reader(*TestAccess::client(*m_proxy));
    return {{QStringLiteral("registered"), m_proxy->isRegisted()},
            {QStringLiteral("version"), m_proxy->ServerVer()},
            {QStringLiteral("table"), tableOf(m_proxy->equipmentTable())},
            {QStringLiteral("signals"), m_signals},
            {QStringLiteral("queued"), queued},
            {QStringLiteral("completed"), m_completed},
            {QStringLiteral("pending"), pending()},
            {QStringLiteral("left"), reader.pendingBytes()}};
}

/// What the table leaves out because it is as usual.
QJsonArray inFull(const QJsonArray &completed, const QJsonObject &reply, const WireNames &names)
{
    QJsonArray full;
    for (const QJsonValue element : completed) {
        QJsonObject completion = mergedFields(reply, element.toObject());
        const QLatin1String serial("serial");
        if (!completion.contains(serial)) {
            const int request = completion.value(QLatin1String("request")).toInt();
            completion.insert(serial, names.value(QString::number(request)));
        }
        full.append(completion);
    }
    return full;
}

QJsonArray signalsInFull(const QJsonArray &raised, const QJsonObject &reply)
{
    QJsonArray full;
    for (const QJsonValue element : raised) {
        QJsonArray signal = element.toArray();
        if (signal.at(1).isObject())
            signal.replace(1, mergedFields(reply, signal.at(1).toObject()));
        full.append(signal);
    }
    return full;
}

QJsonArray stillPending(const WireVector &vector, const QJsonArray &completed)
{
    QJsonArray pending;
    const QStringList requests = vector.requests();
    for (int i = 1; i <= requests.size(); ++i) {
        const bool isCompleted
            = std::any_of(completed.begin(), completed.end(), [i](const QJsonValue &completion) {
                  return completion.toObject().value(QLatin1String("request")).toInt() == i;
              });
        if (!isCompleted && requests.at(i - 1) != QLatin1String("command"))
            pending.append(i);
    }
    return pending;
}

} // namespace

LibraryOnWire::LibraryOnWire(const QJsonObject &common)
    : m_reply(common.value(QLatin1String("reply")).toObject())
{
    // Numbers that the table mentions are no longer handed out.
    while (PackageBase().getSerialNum() < 1000) { }
}

WireOutcome LibraryOnWire::play(const WireVector &vector, const WireDamage &damage)
{
    Run run(vector);
    const WireNames names = run.names();
    const QLatin1String signalsName("signals");
    const QLatin1String completedName("completed");
    QJsonObject expected = mergedFields(mergedFields(vector.start(),
                                                     {{signalsName, QJsonArray()},
                                                      {QStringLiteral("queued"), 0},
                                                      {completedName, QJsonArray()},
                                                      {QStringLiteral("left"), 0}}),
                                        vector.effect(names));
    const QJsonArray completed = expected.value(completedName).toArray();
    expected.insert(completedName, inFull(completed, m_reply, names));
    expected.insert(signalsName, signalsInFull(expected.value(signalsName).toArray(), m_reply));
    expected.insert(QStringLiteral("pending"), stillPending(vector, completed));
    if (!run.isConnected())
        return {expected, {}};
    const QVector<QByteArray> pieces = vector.pieces(names, damage);
    for (const QByteArray &piece : pieces) {
        if (!run.send(piece))
            return {expected, {}};
    }
    return {expected, run.observe()};
}
