#include "EquipmentEvents.h"

#include "ClientConnection.h"
#include "ClientGroup.h"
#include "EquipmentRack.h"
#include "ServerLog.h"
#include "TarnEnum.h"

#include <QTimer>

EquipmentEvents::EquipmentEvents(EquipmentRack *rack, ClientGroup *clients)
    : m_rack(rack)
    , m_clients(clients)
{ }

void EquipmentEvents::connectController(const QString &key, ClientConnection *asker)
{
    announce(key, asker);
    if (!m_rack->controllers().contains(key)) {
        ServerLog::line(asker->name() + QLatin1String(" asks for a controller that is not there: ")
                        + ServerLog::quoted(key));
        announceTable(TarnEnum::EquipmentChange, asker, key);
        return;
    }
    after(connectTimeMs(key),
          [this, key, client = QPointer<ClientConnection>(asker)] { finish(key, client); });
}

void EquipmentEvents::connectAll(ClientConnection *asker)
{
    m_clients->notify(TarnEnum::BeginConnectAllController, QString(), QString(), asker);
    const QStringList controllers = m_rack->controllers();
    int longest = 0;
    for (const QString &key : controllers) {
        announce(key, asker);
        longest = qMax(longest, connectTimeMs(key));
        after(connectTimeMs(key), [this, key] { m_rack->connectEquipment(key); });
    }
    after(longest, [this, client = QPointer<ClientConnection>(asker)] {
        announceTable(TarnEnum::CompleteConnectAllController, client);
    });
}

bool EquipmentEvents::setConnected(const QString &key, bool connected)
{
    if (m_rack->find(key) == nullptr)
        return false;
    if (connected)
        announce(key, nullptr);
    m_rack->connectEquipment(key, connected);
    announceTable(TarnEnum::EquipmentChange, nullptr, key);
    return true;
}

void EquipmentEvents::appear(const QString &key)
{
    m_rack->appear(key);
    if (!m_connectsByItself) {
        announceTable(TarnEnum::EquipmentChange, nullptr, key);
        return;
    }
    if (m_rack->controllers().contains(key))
        announce(key, nullptr);
    if (connectTimeMs(key) > 0)
        announceTable(TarnEnum::EquipmentChange, nullptr, key);
    after(connectTimeMs(key), [this, key] { finish(key, nullptr); });
}

void EquipmentEvents::disappear(const QString &key)
{
    m_rack->disappear(key);
    announceTable(TarnEnum::EquipmentChange, nullptr, key);
}

void EquipmentEvents::setConnectsByItself(bool connects)
{
    m_connectsByItself = connects;
}

bool EquipmentEvents::connectsByItself() const
{
    return m_connectsByItself;
}

// 0 for what is not there.
int EquipmentEvents::connectTimeMs(const QString &key)
{
    const EquipmentUnit *const unit = m_rack->find(key);
    return unit != nullptr ? unit->description().connectTimeMs : 0;
}

void EquipmentEvents::announce(const QString &controller, ClientConnection *asker)
{
    m_clients->notify(TarnEnum::BeginConnectEquipment, controller, controller, asker);
}

void EquipmentEvents::announceTable(int id, ClientConnection *asker, const QString &key)
{
    m_clients->notify(id, m_rack->tableText(), key, asker);
}

void EquipmentEvents::finish(const QString &key, const QPointer<ClientConnection> &asker)
{
    m_rack->connectEquipment(key);
    announceTable(TarnEnum::EquipmentChange, asker, key);
}

// Without a time at once, before this returns: the order of the notifications depends on it.
template <typename Action>
void EquipmentEvents::after(int ms, Action action)
{
    if (ms > 0)
        QTimer::singleShot(ms, Qt::PreciseTimer, this, action);
    else
        action();
}
