// The packages that ServerLink has the proxy send, and what they come back with.
#include "ServerLink.h"

#include "KVTServerMessageOldProxy.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWrite.h"
#include "SessionLog.h"

namespace {

constexpr int MostUnsent = 4;
constexpr int MostCatchers = 32;

EquipmentAddress addressOf(const PackageBase &package)
{
    EquipmentAddress address(package.getSeverConnectionKey(),
                             quint32(package.getHighAddr()) << 16 | package.getLowAddr());
    address.port = package.getPortAddr();
    address.scanBoard = package.getScanBoardAddr();
    address.deviceType = package.getDeviceType();
    return address;
}

} // namespace

bool ServerLink::isHeldUp()
{
    while (!m_unsent.isEmpty() && hasLeft(m_unsent.head()))
        m_unsent.dequeue();
    return m_unsent.size() > MostUnsent;
}

// The proxy finds among its pending requests only what it has sent.
bool ServerLink::hasLeft(quint64 serialNumber) const
{
    return m_proxy->MatchRequest(static_cast<unsigned int>(serialNumber)) != nullptr;
}

bool ServerLink::send(std::unique_ptr<PackageBase> package)
{
    return handOver(std::move(package), Purpose::Request);
}

// No equipment has the empty key, so the server answers at once and nothing else happens.
void ServerLink::sendProbe()
{
    auto probe = std::make_unique<PackageRequestReadData>();
    probe->setReadLength(1);
    m_sinceProbe.start();
    if (handOver(std::move(probe), Purpose::Probe))
        ++m_unansweredProbes;
}

// A reply that matches no request completes the oldest one. These requests are there to be it: they
// go out as a cancel for the empty key, which nobody answers. Without them a reply to a request
// that was completed with another's would find no request that brings it here, and be lost. A stock
// of them, since many replies may arrive before another can leave.
void ServerLink::addCatchers(int count)
{
    m_proxy->setPackageType(TarnEnum::ByteArrayPackage);
    guarded([&] { // without memory there are fewer
        for (; count > 0 && m_catchers < MostCatchers; --count) {
            if (handOver(std::make_unique<PackageBase>(), Purpose::Catcher))
                ++m_catchers;
        }
    });
    m_proxy->setPackageType(TarnEnum::TextPackage);
}

// False when memory runs out.
bool ServerLink::handOver(std::unique_ptr<PackageBase> package, Purpose purpose)
{
    PackageBase *const sent = package.get();
    sent->setParent(&m_packages);
    sent->setCompletionHandler(
        [this, sent, purpose](void *, PackageBase *reply) { complete(sent, purpose, reply); });
    m_unsent.enqueue(sent->getSerialNum());
    if (!m_proxy->SendPackageMessage(sent)) {
        m_unsent.removeLast();
        return false;
    }
    static_cast<void>(package.release());
    sent->setData(QByteArray()); // it is encoded by now, and may never be answered
    return true;
}

void ServerLink::complete(PackageBase *package, Purpose purpose, PackageBase *reply)
{
    guardedWork([&] { answer(package, purpose, reply); });
}

void ServerLink::answer(PackageBase *package, Purpose purpose, PackageBase *reply)
{
    guardedTwice([package] { package->deleteLater(); }); // or it goes with this link
    while (m_unsent.contains(package->getSerialNum()))
        m_unsent.dequeue(); // and all before it, which left before
    if (reply == package) {
        loseConnection(tr("The connection to the server is broken."));
        return;
    }
    m_sinceAnswer.start();
    m_unansweredProbes = 0;
    if (purpose == Purpose::Catcher)
        --m_catchers;
    if (reply->getSerialNum() != package->getSerialNum()) {
        SessionLog::debug("a reply with the serial number", reply->getSerialNum(),
                          "completed the request", package->getSerialNum());
        addCatchers(1);
    }
    Q_EMIT answered(reply->getSerialNum(), reply->getCommResult(), reply->getData());
}

void ServerLink::receiveBroadcast(const PackageBase &package)
{
    DeviceBroadcast broadcast;
    broadcast.address = addressOf(package);
    broadcast.data = package.getData();
    broadcast.tag = package.getTag();
    broadcast.result = package.getCommResult();
    broadcast.isRead = dynamic_cast<const PackageRequestRead *>(&package) != nullptr;
    broadcast.isWrite = dynamic_cast<const PackageRequestWrite *>(&package) != nullptr;
    Q_EMIT broadcastReceived(broadcast);
}
