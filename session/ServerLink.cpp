#include "ServerLink.h"

#include "KVTServerMessageOldProxy.h"
#include "Later.h"
#include "PackageBase.h"
#include "SpareProxies.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace {

constexpr int AnswerPollMs = 5;
constexpr int WatchMs = 100;
constexpr int ProbeAfterMs = 400;
constexpr int CatchersPerWatch = 2; // each takes the place of a request for 10 ms
const QString Mark = QStringLiteral("not registered yet");

class Emission : public QEvent
{
public:
    explicit Emission(std::function<void()> emission)
        : QEvent(QEvent::User)
        , m_emission(std::move(emission))
    { }

    void run() const
    {
        m_emission();
    }

private:
    const std::function<void()> m_emission;
};

} // namespace

ServerLink::ServerLink(int silenceLimitMs)
    : m_proxy(SpareProxies::take())
    , m_isSecondHand(m_proxy != nullptr)
    , m_silenceLimitMs(silenceLimitMs)
{
    if (!m_isSecondHand)
        m_proxy = SpareProxies::makeNew();
    if (!guarded([this] { connectProxy(); })) {
        delete m_proxy;
        throw std::bad_alloc();
    }
    m_sinceProbe.start();
    m_sinceAnswer.start();
}

ServerLink::~ServerLink()
{
    m_proxy->disconnect(this);
    m_proxy->Terminate();
    leavePending();
    if (m_isUseless)
        delete m_proxy; // it would never connect again
    else
        SpareProxies::keep(m_proxy);
}

// Without memory the proxy keeps its pending requests and deletes them another time: they may not
// go with this link then.
void ServerLink::leavePending()
{
    const QObjectList &packages = m_packages.children();
    for (int i = packages.size() - 1; i >= 0; --i) {
        auto *const package = static_cast<PackageBase *>(packages.at(i));
        if (hasLeft(package->getSerialNum())) {
            package->setCompletionHandler(nullptr); // it would call this link
            package->setParent(nullptr);
        }
    }
}

void ServerLink::connectProxy()
{
    connect(&m_watch, &QTimer::timeout, this, [this] { guardedWork([this] { watch(); }); });
    connect(m_proxy, &IKVTServerBaseProxy::NotifyRegisterErrEvent, this,
            [this] { m_hasRegisterError = true; });
    connect(m_proxy, &IKVTServerBaseProxy::EquipmentChangeEvent, this, [this] {
        guardedWork([this] {
            markTableAgain();
            emitInTurn([this] { Q_EMIT tableReplaced(); });
        });
    });
    connect(m_proxy, &IKVTServerBaseProxy::CompleteConnectAllController, this, [this] {
        guardedWork([this] { markTableAgain(); });
        Q_EMIT tableReplaced();
        Q_EMIT allControllersConnected();
    });
    connect(m_proxy, &IKVTServerBaseProxy::BeginConnectEquipment, this,
            [this](void *, const ConnectEquipmentEventArgs &args) {
                guardedWork([&] {
                    emitInTurn([this, port = args.portNam()] { Q_EMIT connectionBeginning(port); });
                });
            });
    connect(m_proxy, &IKVTServerBaseProxy::BeginConnectAllController, this,
            &ServerLink::allControllersConnecting);
    connect(m_proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [this](void *, const CompletePackageRequestEventArgs &args) {
                guardedWork([&] { receiveBroadcast(*args.request()); });
            });
}

// The proxy posts some of its signals, with high priority, and raises others at once: these would
// overtake the former.
void ServerLink::emitInTurn(std::function<void()> emission)
{
    QCoreApplication::postEvent(this, new Emission(std::move(emission)), Qt::HighEventPriority);
}

void ServerLink::customEvent(QEvent *event)
{
    static_cast<Emission *>(event)->run();
}

bool ServerLink::connectToServer()
{
    m_proxy->Initalize();
    // What a proxy that is used again knows of its former registration.
    m_proxy->ReceivedMessage(TarnEnum::Unregistered, QString(), QByteArray());
    markTable();
    m_isFlagCleared = false;
    m_hasRegisterError = false;
    // Already now: what the events below call may run a loop of its own.
    Later::start(&m_watch, AnswerPollMs);
    if (!m_proxy->Register(QString(), nullptr, QString()) && !m_hasConfirmed && isMarked()) {
        m_watch.stop();
        return false;
    }
    if (isMarked()) {
        // The proxy calls itself registered before it is. From here on only the confirmation does.
        m_proxy->setRegisted(false);
        m_isFlagCleared = true;
    }
    // The connection of a proxy that is used again may be gone; this write notices.
    sendProbe();
    return true;
}

bool ServerLink::isSecondHand() const
{
    return m_isSecondHand;
}

QString ServerLink::serverVersion() const
{
    return m_proxy->ServerVer();
}

QMap<QString, EquipmentInfo> ServerLink::equipmentTable() const
{
    return m_proxy->equipmentTable();
}

void ServerLink::command(const Command &operation)
{
    const bool isQueued = guardedTwice([&] {
        if (!operation(m_proxy) && m_proxy->isRegisted())
            throw std::bad_alloc();
    });
    if (!isQueued)
        Q_EMIT outOfMemory();
}

void ServerLink::watch()
{
    if (m_hasConfirmed) {
        addCatchers(CatchersPerWatch);
        lookForLoss();
        lookForTable();
    } else {
        lookForAnswer();
    }
    if (m_sinceAnswer.elapsed() >= ProbeAfterMs && m_sinceProbe.elapsed() >= ProbeAfterMs)
        sendProbe();
}

// Every answer to a registration replaces or empties the table, so a record that no server can send
// tells whether there was one.
void ServerLink::markTable()
{
    QMap<QString, EquipmentInfo> table; // made of a list it would leak when memory runs out
    table.insert(Mark, EquipmentInfo());
    m_proxy->setEquipmentTable(table);
}

// A table that comes before the answer is none.
void ServerLink::markTableAgain()
{
    if (!m_hasConfirmed && !isConfirmed())
        markTable();
}

bool ServerLink::isMarked() const
{
    const QMap<QString, EquipmentInfo> table = m_proxy->equipmentTable();
    return table.size() == 1 && table.firstKey() == Mark;
}

bool ServerLink::isConfirmed() const
{
    return m_proxy->isRegisted() && (m_isFlagCleared || !m_proxy->ServerVer().isEmpty());
}

// Concluded a little later, so that what the proxy has posted by now comes first.
void ServerLink::lookForAnswer()
{
    if (isMarked())
        return;
    Later::call(this, [this] { guardedWork([this] { concludeRegistration(); }); });
}

void ServerLink::concludeRegistration()
{
    if (m_hasConfirmed || m_isLost || isMarked())
        return;
    if (!m_proxy->isRegisted()) {
        m_watch.stop();
        m_proxy->setRegisted(true); // ends a Register that would go on asking for seconds
        markTable();
        Q_EMIT refused(m_hasRegisterError);
        return;
    }
    m_hasConfirmed = true;
    m_sinceAnswer.start(); // its first answer, however long the server has taken for it
    m_unansweredProbes = 0;
    Later::start(&m_watch, WatchMs);
    addCatchers(1);
    Q_EMIT confirmed();
}

// Silence is counted in probes, not in time: none leave while the application is held up.
void ServerLink::lookForLoss()
{
    const bool hadEnded = std::exchange(m_hasEnded, !m_proxy->isRegisted());
    if (m_hasEnded && !hadEnded)
        sendProbe(); // a server that goes says so first; this write tells whether it has gone
    else if (m_hasEnded)
        loseLater(tr("The server has ended the registration."));
    else if (m_silenceLimitMs > 0 && m_unansweredProbes * ProbeAfterMs >= m_silenceLimitMs)
        loseConnection(
            tr("The server has not answered anything for %1 ms.").arg(m_sinceAnswer.elapsed()));
}

// A server that confirms again sends its table with it, and the proxy takes it without a signal.
void ServerLink::lookForTable()
{
    const QMap<QString, EquipmentInfo> table = m_proxy->equipmentTable();
    if (m_hasEnded || table.isSharedWith(m_table))
        return;
    m_table = table;
    Q_EMIT tableReplaced();
}

// Not from inside the proxy's call that this may be: the link may be deleted for it. Without memory
// the loss is noticed again.
void ServerLink::loseLater(const QString &reason)
{
    if (m_isLost)
        return;
    const auto conclude = [this, reason] {
        m_proxy->NotifyThreadFun(false); // replies that came before the end and wait for its tick
        Q_EMIT lost(reason);
    };
    if (Later::call(this, conclude)) {
        m_isLost = true;
        m_watch.stop();
    }
}

void ServerLink::loseConnection(const QString &reason)
{
    m_isUseless = true;
    loseLater(reason);
}
