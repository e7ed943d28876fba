#ifndef DEVICESERVER_H
#define DEVICESERVER_H

#include "EquipmentRack.h"
#include "RequestQueue.h"
#include "ServerOptions.h"

#include <QList>
#include <QObject>
#include <QTimer>

class ClientConnection;

/// The simulated device server: what each message does. Hand it connected sockets with `addClient`.
class DeviceServer : public QObject
{
    Q_OBJECT

public:
    DeviceServer(const ServerOptions &options, const QVector<EquipmentDescription> &equipment);
    ~DeviceServer() override;

    /// Serves the client at the socket \a descriptor, which the server owns from then on.
    void addClient(qintptr descriptor);

    /// Tells every client that its registration ends; blocks until that has left, at most two
    /// seconds.
    void sayGoodbye();

Q_SIGNALS:
    /// No client has been connected for as long as the options say.
    void idle();

private:
    void removeClient(ClientConnection *client);
    void watchIdleness();
    void sendHeartbeats();

    void receive(ClientConnection *client, const QByteArray &body);
    void registerClient(ClientConnection *client);
    void connectOne(ClientConnection *client, const QString &name);
    void connectAll(ClientConnection *client);
    void queueRequest(ClientConnection *client, int id, const QString &text);
    void carryOut(ClientConnection *client, const RequestQueue::Request &request);
    void cancel(ClientConnection *client,
                const std::function<bool(const DeviceRequest &)> &isMeant);
    void takeOrder(ClientConnection *client, const QString &order);
    void setAutoConnect(ClientConnection *client, const QString &text);
    void appear(const EquipmentDescription &equipment);

    /// Sends a notification to all registered clients and, registered or not, to \a asker.
    void notify(int id, const QString &text, ClientConnection *asker = nullptr);

    ServerOptions m_options;
    EquipmentRack m_rack;
    QList<ClientConnection *> m_clients;
    int m_clientCount = 0;
    bool m_connectsByItself = true;
    QTimer m_heartbeat;
    QTimer m_idleTimer;
};

#endif
