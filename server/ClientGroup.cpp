#include "ClientGroup.h"

#include "ClientConnection.h"

ClientGroup::~ClientGroup()
{
    qDeleteAll(m_clients);
}

void ClientGroup::add(ClientConnection *client)
{
    m_clients.append(client);
    if (!m_newcomersStallEnd.hasExpired())
        client->stall(m_newcomersStallEnd.isForever()
                          ? 0
                          : static_cast<int>(m_newcomersStallEnd.remainingTime()));
}

bool ClientGroup::remove(ClientConnection *client)
{
    if (!m_clients.removeOne(client))
        return false;
    m_formerlyReceived.add(client->received());
    m_formerlySent.add(client->sent());
    client->deleteLater();
    return true;
}

bool ClientGroup::isEmpty() const
{
    return m_clients.isEmpty();
}

// Implicitly shared, so that a client who is dropped while it is told something does no harm.
QList<ClientConnection *> ClientGroup::all() const
{
    return m_clients;
}

void ClientGroup::tellAll(int id, const QString &text)
{
    const QList<ClientConnection *> clients = all();
    for (ClientConnection *const client : clients)
        client->send(id, text);
}

void ClientGroup::notify(int id, const QString &text, const QString &key, ClientConnection *asker)
{
    if (asker != nullptr && !asker->isRegistered())
        asker->send(id, text, key);
    broadcast(id, text, key);
}

void ClientGroup::broadcast(int id, const QString &text, const QString &key,
                            ClientConnection *asker)
{
    const QList<ClientConnection *> clients = all();
    for (ClientConnection *const client : clients) {
        if (client != asker && client->isRegistered())
            client->send(id, text, key);
    }
}

void ClientGroup::stallNewcomers(int ms)
{
    m_newcomersStallEnd = QDeadlineTimer(ms > 0 ? qint64(ms) : -1); // -1: forever
}

void ClientGroup::admitNewcomers()
{
    m_newcomersStallEnd = QDeadlineTimer();
}

void ClientGroup::push()
{
    const QList<ClientConnection *> clients = all();
    for (ClientConnection *const client : clients)
        client->push();
}

MessageCounts ClientGroup::received() const
{
    MessageCounts counts = m_formerlyReceived;
    for (ClientConnection *const client : m_clients)
        counts.add(client->received());
    return counts;
}

MessageCounts ClientGroup::sent() const
{
    MessageCounts counts = m_formerlySent;
    for (ClientConnection *const client : m_clients)
        counts.add(client->sent());
    return counts;
}
