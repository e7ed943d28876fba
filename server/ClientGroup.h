#ifndef CLIENTGROUP_H
#define CLIENTGROUP_H

#include "MessageCounts.h"

#include <QDeadlineTimer>
#include <QList>
#include <QString>

class ClientConnection;

/// The server's clients, and what is told to several of them. Owns them.
class ClientGroup
{
public:
    ClientGroup() = default;
    ~ClientGroup();

    void add(ClientConnection *client);
    /// Forgets the client, which ends later; false when it is forgotten already.
    bool remove(ClientConnection *client);

    bool isEmpty() const;
    QList<ClientConnection *> all() const;

    /// To everyone.
    void tellAll(int id, const QString &text = QString());
    /// To all registered clients and, registered or not, to \a asker.
    void notify(int id, const QString &text, const QString &key = QString(),
                ClientConnection *asker = nullptr);
    /// To all registered clients but \a asker.
    void broadcast(int id, const QString &text, const QString &key,
                   ClientConnection *asker = nullptr);

    /// Stalls whoever comes within that time, for what is left of it; until `admitNewcomers` when
    /// \a ms is 0.
    void stallNewcomers(int ms);
    void admitNewcomers();

    /// Hands what was sent to the system as far as it takes it.
    void push();

    /// Of all clients there have been.
    MessageCounts received() const;
    MessageCounts sent() const;

private:
    Q_DISABLE_COPY_MOVE(ClientGroup)

    QList<ClientConnection *> m_clients;
    MessageCounts m_formerlyReceived;
    MessageCounts m_formerlySent;
    QDeadlineTimer m_newcomersStallEnd;
};

#endif
