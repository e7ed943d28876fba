#include "ProxyKill.h"

#include "EventWait.h"
#include "PackageRequestReadData.h"

namespace {

const QString Key = QStringLiteral("A");

} // namespace

ProxyKill::ProxyKill(KilledServer *server)
    : m_server(server)
    , m_proxy(std::make_unique<KVTServerMessageOldProxy>())
{ }

bool ProxyKill::isConfirmed() const
{
    return !m_proxy->ServerVer().isEmpty();
}

void ProxyKill::begin()
{
    m_proxy->Initalize();
    m_proxy->Register(QString(), nullptr, QString());
    m_outcome.wasReady
        = waitInEvents([this] { return isConfirmed() || !m_server->isRunning(); }, WaitLimitMs)
        && isConfirmed();
    // Those of an unconfirmed proxy are taken too: it calls itself registered by then.
    m_requests.resize(Requests + 1); // and the probe
    for (int i = 0; i < Requests; ++i)
        makeRequest(i);
}

void ProxyKill::makeRequest(int index)
{
    auto *const package = new PackageRequestReadData;
    package->setServerConnectionKey(Key);
    package->setReadLength(1);
    package->setCompletionHandler(
        [this, index](void *, PackageBase *reply) { completed(index, *reply); });
    m_requests[index].package = package;
    if (m_proxy->SendRequestReadData(package))
        ++m_outcome.requests;
    else
        delete package;
}

void ProxyKill::completed(int index, const PackageBase &reply)
{
    Request &request = m_requests[index];
    m_outcome.twice += ++request.completions > 1 ? 1 : 0;
    request.package->deleteLater();
    if (&reply != request.package) {
        ++m_outcome.good;
    } else if (reply.getCommResult() == TarnEnum::WriteFailed) {
        ++m_outcome.lost;
        if (m_outcome.noticeMs < 0)
            m_outcome.noticeMs = static_cast<double>(m_server->sinceDeathNs()) / 1e6;
    } else {
        ++m_outcome.odd;
    }
}

int ProxyKill::completions() const
{
    return m_outcome.good + m_outcome.lost + m_outcome.odd;
}

// When all had been written before the death, nothing fails any more. What is still in the queue
// fails before it, one after the other.
void ProxyKill::probe()
{
    makeRequest(Requests);
    const bool isKnown = waitInEvents([this] { return m_requests.constLast().completions > 0; });
    m_outcome.odd += isKnown ? 0 : 1;
}

void ProxyKill::run()
{
    begin();
    const bool isDead = waitInEvents([this] { return !m_server->isRunning(); });
    m_outcome.odd += isDead ? 0 : 1;
    if (m_outcome.requests > 0)
        probe();
    endProxy();
}

void ProxyKill::runUndisturbed()
{
    begin();
    m_outcome.odd += waitInEvents([this] { return completions() == Requests; }) ? 0 : 1;
    endProxy();
}

// Deletes what is pending, and nothing may be left in the send queue.
void ProxyKill::endProxy()
{
    int left = 0;
    for (const Request &request : qAsConst(m_requests))
        left += request.package && request.completions == 0 ? 1 : 0;
    m_proxy.reset();
    for (const Request &request : qAsConst(m_requests))
        m_outcome.unended += request.package && request.completions == 0 ? 1 : 0;
    m_outcome.kept = left - m_outcome.unended;
}

const KillOutcome &ProxyKill::outcome() const
{
    return m_outcome;
}
