#include "FailingStage.h"

#include "TestPackages.h"
#include "WireBytes.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace {

constexpr int LimitMs = 3000;
constexpr int PassMs = 2;

QByteArray field(const QByteArray &text, const QByteArray &name)
{
    const QByteArray padded = ';' + text + ';';
    const int begin = padded.indexOf(';' + name + '=') + name.size() + 2;
    return padded.mid(begin, padded.indexOf(';', begin) - begin);
}

QByteArray ordered(const QByteArray &order)
{
    const int colon = order.indexOf(':');
    return colon < 0 ? QByteArray()
                     : WireBytes::message(order.left(colon).toInt(), order.mid(colon + 1));
}

} // namespace

StagePeer::StagePeer(const QByteArray &registration)
    : m_registration(registration)
{
    const FailingCalls::Pause pause;
    m_peer
        = std::make_unique<AnsweringPeer>([this](const QByteArray &body) { return answer(body); });
}

StagePeer::~StagePeer()
{
    stop();
}

QByteArray StagePeer::confirmation()
{
    return "0:COM1/1/2/A/5,COM2/1/2/B/5,1.0";
}

void StagePeer::stop()
{
    const FailingCalls::Pause pause;
    m_peer.reset();
}

int StagePeer::messages() const
{
    return m_messages;
}

QByteArray StagePeer::answer(const QByteArray &body)
{
    const QByteArray text = body.mid(1);
    switch (body.at(0)) {
    case TarnEnum::RegisterClient:
        return ordered(m_registration);
    case TarnEnum::SendOrder:
        ++m_messages;
        return ordered(text);
    case TarnEnum::RequestReadData:
    case TarnEnum::RequestWriteData:
        break;
    default:
        ++m_messages;
        return QByteArray();
    }
    ++m_messages;
    if (field(text, "serverConnectionKey") == "silent")
        return QByteArray();
    const bool isRead = body.at(0) == TarnEnum::RequestReadData;
    const QByteArray data(isRead ? field(text, "readLength").toInt() : 0, 'd');
    return WireBytes::message(isRead ? TarnEnum::ReplyReadData : TarnEnum::ReplyWriteData,
                              replyText(field(text, "serialNum").toULongLong(), data));
}

bool serveUntil(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > LimitMs)
            return false;
        QCoreApplication::processEvents();
        serveDeletions();
        QThread::msleep(PassMs);
    }
    return true;
}

void serveDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

StageProxy::StageProxy()
    : m_proxy(makePaused<KVTServerMessageOldProxy>())
{ }

StageProxy::~StageProxy()
{
    m_proxy.reset();
    serveDeletions();
}

Verdict StageProxy::registerAtPeer()
{
    m_proxy->Initalize();
    if (!m_proxy->Register(QString(), nullptr, QString()))
        return m_proxy->isRegisted()
            ? Verdict::wrong(QStringLiteral("Register failed and the proxy is registered"))
            : Verdict::reported();
    return serveUntil([this] { return !m_proxy->ServerVer().isEmpty(); })
        ? Verdict::done()
        : missing("the confirmation");
}

Verdict StageProxy::missing(const char *missing)
{
    StageRequest<PackageRequestReadData> probe(this, QStringLiteral("COM1"));
    const bool isSent = m_proxy->SendPackageMessage(probe.package());
    if (!isSent)
        return Verdict::reported();
    serveUntil([&] { return probe.completions() > 0; });
    return probe.completions() > 0 && probe.result() == TarnEnum::WriteFailed
        ? Verdict::reported()
        : Verdict::wrong(QLatin1String(missing)
                         + QLatin1String(" did not come, and the connection stands"));
}

template <typename Package>
StageRequest<Package>::StageRequest(StageProxy *proxy, const QString &key)
    : m_proxy(proxy)
    , m_package(makePaused<Package>().release())
{
    const FailingCalls::Pause pause;
    m_package->setServerConnectionKey(key);
    m_package->setCompletionHandler([this](void *, PackageBase *reply) {
        ++m_completions;
        m_result = reply->getCommResult();
    });
}

template <typename Package>
StageRequest<Package>::~StageRequest()
{
    m_proxy->get()->Terminate();
    delete m_package;
}

template <typename Package>
Verdict StageRequest<Package>::finish(bool isSent)
{
    if (!isSent)
        return Verdict::reported();
    serveUntil([this] { return m_completions > 0; });
    if (m_completions == 0)
        return m_proxy->missing("a reply");
    if (m_completions > 1)
        return Verdict::wrong(QStringLiteral("a request was completed twice"));
    return m_result == TarnEnum::Success ? Verdict::done() : Verdict::reported();
}

template class StageRequest<PackageRequestReadData>;
template class StageRequest<PackageRequestWriteData>;
