#include "ProxyTraffic.h"

#include "PackageRequestReadData.h"

namespace {

constexpr int RequestMs = 100;
constexpr int AnswerLimitMs = 3000;

} // namespace

ProxyTraffic::ProxyTraffic(const QString &key)
    : m_key(key)
{
    connect(&m_timer, &QTimer::timeout, this, &ProxyTraffic::goOn);
}

ProxyTraffic::~ProxyTraffic()
{
    stop();
}

void ProxyTraffic::start()
{
    m_timer.start(RequestMs);
}

void ProxyTraffic::stop()
{
    m_timer.stop();
    giveUpProxy();
}

// Register processes events, this timer's among them.
void ProxyTraffic::goOn()
{
    if (m_isBusy)
        return;
    if (m_proxy && (m_isLost || m_sinceAnswer.elapsed() > AnswerLimitMs))
        giveUpProxy();
    else if (m_proxy)
        request();
    else
        connectToServer();
}

void ProxyTraffic::connectToServer()
{
    m_isBusy = true;
    m_proxy = std::make_unique<KVTServerMessageOldProxy>();
    m_packages = std::make_unique<QObject>();
    ++m_proxies;
    m_isLost = false;
    m_proxy->Initalize();
    m_sinceAnswer.start();
    if (!m_proxy->Register(QString(), nullptr, QString()))
        m_isLost = true;
    m_isBusy = false;
}

void ProxyTraffic::request()
{
    auto *const package = new PackageRequestReadData;
    package->setParent(m_packages.get());
    package->setServerConnectionKey(m_key);
    package->setReadLength(4);
    package->setCompletionHandler([this, package](void *, PackageBase *reply) {
        --m_underWay;
        if (reply == package) {
            ++m_failedWrites;
            m_isLost = true;
        } else {
            ++m_completed;
            m_sinceAnswer.start();
        }
        package->deleteLater();
    });
    if (!m_proxy->SendRequestReadData(package)) {
        m_isLost = true; // no longer registered
        delete package;
        return;
    }
    ++m_requests;
    ++m_underWay;
}

void ProxyTraffic::giveUpProxy()
{
    m_proxy.reset();
    m_packages.reset(); // what was still in the send queue
    m_unanswered += m_underWay;
    m_underWay = 0;
}

qint64 ProxyTraffic::requests() const
{
    return m_requests;
}

qint64 ProxyTraffic::completed() const
{
    return m_completed;
}

qint64 ProxyTraffic::failedWrites() const
{
    return m_failedWrites;
}

qint64 ProxyTraffic::unanswered() const
{
    return m_unanswered;
}

int ProxyTraffic::proxies() const
{
    return m_proxies;
}
