// What calls the application back, in ProxyCell.
#include "ProxyCell.h"

#include "EventWait.h"
#include "SpecialPackageRequest.h"

using Proxy = IKVTServerBaseProxy;

namespace {

constexpr int NoticeMs = 500;

} // namespace

const QList<ProxyCell::NamedStep> &ProxyCell::allOccasions()
{
    static const QList<NamedStep> occasions{
        {"EquipmentChangeEvent", &ProxyCell::changeTable},
        {"BeginConnectEquipment", &ProxyCell::beginConnecting},
        {"BeginConnectAllController", &ProxyCell::beginConnectingAll},
        {"CompleteConnectAllController", &ProxyCell::completeConnectingAll},
        {"CompleteConnectEquipment", &ProxyCell::completeConnectingOne},
        {"NotifyRegisterErrEvent", &ProxyCell::refuseRegistration},
        {"CallBackBroadcastRecvedReplyEvent", &ProxyCell::broadcast},
        {"a completed read", &ProxyCell::completeRead},
        {"a completed write", &ProxyCell::completeWrite},
        {"a refused read", &ProxyCell::completeRefusedRead},
        {"a read that could not be written", &ProxyCell::completeUnwritten},
        {"a reply that is released", &ProxyCell::releaseReply},
        {"the events inside Register", &ProxyCell::register_},
    };
    return occasions;
}

template <typename Signal>
void ProxyCell::connectTo(Signal signal)
{
    connect(m_proxy, signal, this, [this] { act(); });
}

void ProxyCell::changeTable()
{
    connectTo(&Proxy::EquipmentChangeEvent);
    m_proxy->ConnectController(QStringLiteral("COM1"));
}

void ProxyCell::beginConnecting()
{
    connectTo(&Proxy::BeginConnectEquipment);
    m_proxy->ConnectController(QStringLiteral("COM1"));
}

void ProxyCell::beginConnectingAll()
{
    connectTo(&Proxy::BeginConnectAllController);
    m_proxy->ConnectController();
}

void ProxyCell::completeConnectingAll()
{
    connectTo(&Proxy::CompleteConnectAllController);
    m_proxy->ConnectController();
}

// The server never brings it about. An empty name is what raises it; it must not be null.
void ProxyCell::completeConnectingOne()
{
    connectTo(&Proxy::CompleteConnectEquipment);
    ConnectEquipmentEventArgs *const args = nullptr;
    m_proxy->OnCompleteConnectEquipment(args, QStringLiteral(""));
}

void ProxyCell::refuseRegistration()
{
    connectTo(&Proxy::NotifyRegisterErrEvent);
    m_server.control.tell(R"({"do":"register","answer":"error"})");
    m_proxy->SendCommand(TarnEnum::RegisterClient, QString());
}

void ProxyCell::broadcast()
{
    connect(m_proxy, &Proxy::CallBackBroadcastRecvedReplyEvent, this,
            [this](void *, const CompletePackageRequestEventArgs &args) {
                m_reply = args.request();
                act();
            });
    order();
}

void ProxyCell::completeRead()
{
    readFrom(QStringLiteral("COM1"));
}

void ProxyCell::completeRefusedRead()
{
    readFrom(QStringLiteral("COM9"));
}

void ProxyCell::readFrom(const QString &key)
{
    m_mayThrow = true;
    m_request = newRequest<PackageRequestReadData>();
    m_request->setServerConnectionKey(key);
    m_request->setReadLength(4);
    m_request->setCompletionHandler([this](void *, PackageBase *reply) {
        m_reply = reply;
        act();
    });
    m_proxy->SendRequestReadData(m_request);
}

void ProxyCell::completeWrite()
{
    m_mayThrow = true;
    auto *const request = newRequest<PackageRequestWriteData>();
    request->setData("x");
    request->setCompletionHandler([this](void *, PackageBase *reply) {
        m_reply = reply;
        act();
    });
    m_proxy->SendRequestWriteData(request);
}

// Nothing answers, so the request itself is what its handler gets. One that was written just before
// the socket noticed stays pending.
void ProxyCell::completeUnwritten()
{
    m_server.process.kill();
    m_isServerGone = m_server.process.waitForEnd();
    waitInEvents([this] { return !m_server.control.isConnected(); });
    do {
        completeRead();
        m_mayThrow = false;
    } while (!waitInEvents([this] { return hasActed(); }, NoticeMs) && m_proxy);
}

void ProxyCell::releaseReply()
{
    auto *const request = newRequest<PackageRequestReadData>();
    request->setReadLength(4);
    request->setCompletionHandler([this](void *, PackageBase *reply) {
        connect(reply, &QObject::destroyed, this, [this] { act(); });
    });
    m_proxy->SendRequestReadData(request);
}

void ProxyCell::register_()
{
    QTimer::singleShot(0, this, [this] { act(); });
    m_proxy->Register(QString(), nullptr, QString());
}
