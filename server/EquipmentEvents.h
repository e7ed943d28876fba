#ifndef EQUIPMENTEVENTS_H
#define EQUIPMENTEVENTS_H

#include <QObject>
#include <QPointer>
#include <QString>

class ClientConnection;
class ClientGroup;
class EquipmentRack;

/// What happens to the equipment and who is told of it: it connects, which may take its time, it
/// appears and disappears. The registered clients are told, and whoever asked for it.
class EquipmentEvents : public QObject
{
    Q_OBJECT

public:
    /// Both stay the caller's.
    EquipmentEvents(EquipmentRack *rack, ClientGroup *clients);

    /// As a client asks for it; takes the controller's time.
    void connectController(const QString &key, ClientConnection *asker);
    /// Every controller that is there, all at once: done when the slowest is.
    void connectAll(ClientConnection *asker);

    /// Connects or disconnects at once. False when it is not there.
    bool setConnected(const QString &key, bool connected);

    /// It connects by itself when it appears, unless that is switched off.
    void appear(const QString &key);
    void disappear(const QString &key);
    void setConnectsByItself(bool connects);
    bool connectsByItself() const;

private:
    int connectTimeMs(const QString &key);
    void announce(const QString &controller, ClientConnection *asker);
    void announceTable(int id, ClientConnection *asker, const QString &key = QString());
    void finish(const QString &key, const QPointer<ClientConnection> &asker);
    template <typename Action>
    void after(int ms, Action action);

    EquipmentRack *m_rack;
    ClientGroup *m_clients;
    bool m_connectsByItself = true;
};

#endif
