#ifndef DEVICESERVER_H
#define DEVICESERVER_H

#include "ClientGroup.h"
#include "EquipmentEvents.h"
#include "EquipmentRack.h"
#include "FaultPlan.h"
#include "RequestQueue.h"
#include "Scenario.h"
#include "ServerOptions.h"

#include <QObject>
#include <QTimer>

class ClientConnection;

/// The simulated device server: what each message does. Hand it connected sockets with `addClient`.
class DeviceServer : public QObject
{
    Q_OBJECT

public:
    DeviceServer(const ServerOptions &options, const Scenario &scenario);

    /// Serves the client at the socket \a descriptor, which the server owns from then on.
    void addClient(qintptr descriptor);

    /// Tells every client that its registration ends; blocks until that has left, at most two
    /// seconds.
    void sayGoodbye();

    void setRegisterAnswer(RegisterAnswer answer);

    /// The server's parts, for who steers it.
    EquipmentRack *rack();
    EquipmentEvents *equipmentEvents();
    ClientGroup *clients();
    FaultPlan *faults();

Q_SIGNALS:
    /// No client has been connected for as long as the options say.
    void idle();

private:
    void removeClient(ClientConnection *client);
    void watchIdleness();
    void sendHeartbeats();

    void receive(ClientConnection *client, const QByteArray &body);
    void registerClient(ClientConnection *client);
    void queueRequest(ClientConnection *client, int id, const QString &text);
    void carryOut(ClientConnection *client, const RequestQueue::Request &request);
    static void reply(ClientConnection *client, const DeviceRequest &request);
    void cancel(ClientConnection *client,
                const std::function<bool(const DeviceRequest &)> &isMeant);
    void takeOrder(ClientConnection *client, const QString &order);
    void setAutoConnect(ClientConnection *client, const QString &text);

    ServerOptions m_options;
    EquipmentRack m_rack;
    FaultPlan m_faults;
    ClientGroup m_clients;
    EquipmentEvents m_equipmentEvents;
    int m_clientCount = 0;
    QTimer m_heartbeat;
    QTimer m_idleTimer;
};

#endif
