#include "ProxyPeer.h"

#include "EventWait.h"
#include "PackageRequestReadData.h"

#include <QElapsedTimer>

bool ProxyPeer::open()
{
    m_proxy.Initalize();
    return m_proxy.Register(QString(), nullptr, QString())
        && waitInEvents([this] { return !m_proxy.ServerVer().isEmpty(); });
}

void ProxyPeer::request()
{
    auto *const package = new PackageRequestReadData;
    package->setParent(&m_packages);
    package->setServerConnectionKey(QStringLiteral("A"));
    package->setReadLength(1);
    QElapsedTimer clock;
    clock.start();
    package->setCompletionHandler([this, package, clock](void *, PackageBase *reply) {
        ++m_ended;
        // It may be anybody's reply that completes it.
        if (reply->getSerialNum() == package->getSerialNum() && reply != package)
            m_answerMs.add(static_cast<double>(clock.elapsed()));
        package->deleteLater();
    });
    ++m_made;
    m_proxy.SendRequestReadData(package);
}
