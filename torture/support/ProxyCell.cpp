#include "ProxyCell.h"

#include "EventWait.h"

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int Address = 0x40;
constexpr int ReadBytes = 4;
constexpr int RegisterTries = 20;
constexpr int ConfirmationMs = 1000;

} // namespace

ProxyCell::~ProxyCell()
{
    delete m_proxy;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

template <typename Package>
Package *ProxyCell::newRequest()
{
    auto *const request = new Package;
    request->setParent(&m_packages);
    request->setServerConnectionKey(Key);
    request->setLowAddr(Address);
    return request;
}

template PackageRequestReadData *ProxyCell::newRequest<PackageRequestReadData>();
template PackageRequestWriteData *ProxyCell::newRequest<PackageRequestWriteData>();

QStringList ProxyCell::occasions()
{
    QStringList names;
    for (const NamedStep &step : allOccasions())
        names.append(QString::fromLatin1(step.name));
    return names;
}

QStringList ProxyCell::deeds()
{
    QStringList names;
    for (const NamedStep &step : allDeeds())
        names.append(QString::fromLatin1(step.name));
    return names;
}

QString ProxyCell::play(const QString &occasion, const QString &deed)
{
    m_deed = allDeeds().at(deeds().indexOf(deed)).step;
    if (!m_server.start() || !bringUp())
        return QStringLiteral("no registration to begin with");
    (this->*allOccasions().at(occasions().indexOf(occasion)).step)();
    if (!waitInEvents([this] { return hasActed(); }))
        return QStringLiteral("it never comes");
    QCoreApplication::processEvents();
    if (!waitInEvents([this] { return !m_proxy || m_answered == m_sent; }))
        return QStringLiteral("%1 of %2 requests answered").arg(m_answered).arg(m_sent);
    return recover() ? QString() : QStringLiteral("nothing can be read afterwards");
}

void ProxyCell::carryOut()
{
    (this->*m_deed)();
}

// Initialised and confirmed by the server, whatever the proxy was before.
bool ProxyCell::bringUp()
{
    if (!m_proxy)
        m_proxy = new KVTServerMessageOldProxy;
    m_proxy->Initalize();
    const auto isConfirmed
        = [this] { return m_proxy->isRegisted() && !m_proxy->ServerVer().isEmpty(); };
    for (int i = 0; i < RegisterTries && !isConfirmed(); ++i) {
        m_proxy->Register(QString(), nullptr, QString());
        waitInEvents(isConfirmed, ConfirmationMs);
    }
    return isConfirmed();
}

// A proxy connects once only: it goes when its server has gone.
bool ProxyCell::recover()
{
    if (m_isServerGone) {
        delete m_proxy;
        if (!m_server.start())
            return false;
    }
    if (!m_server.control.tell(R"({"do":"register","answer":"accept"})"))
        return false;
    return bringUp() && isReadable();
}

bool ProxyCell::isReadable()
{
    int result = -1;
    auto *const request = newRequest<PackageRequestReadData>();
    request->setReadLength(ReadBytes);
    request->setCompletionHandler(
        [&result](void *, PackageBase *reply) { result = reply->getCommResult(); });
    m_proxy->SendRequestReadData(request);
    const bool isAnswered = waitInEvents([&result] { return result >= 0; });
    request->setCompletionHandler(nullptr);
    return isAnswered && result == TarnEnum::Success;
}
