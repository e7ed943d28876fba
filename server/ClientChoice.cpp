#include "ClientChoice.h"

#include "ClientConnection.h"
#include "ClientGroup.h"
#include "JsonFields.h"

#include <limits>

ClientChoice ClientChoice::read(JsonFields *fields, Otherwise otherwise)
{
    ClientChoice choice;
    if (otherwise == Otherwise::Nobody)
        fields->require("client");
    choice.m_number
        = static_cast<int>(fields->number("client", 1, std::numeric_limits<int>::max(), 0));
    choice.m_otherwise = otherwise;
    return choice;
}

bool ClientChoice::isOne() const
{
    return m_number > 0;
}

QList<ClientConnection *> ClientChoice::among(const ClientGroup &clients, QString *error) const
{
    QList<ClientConnection *> chosen;
    const QList<ClientConnection *> all = clients.all();
    for (ClientConnection *const client : all) {
        const bool isOneOfMany = m_otherwise == Otherwise::All || client->isRegistered();
        if (isOne() ? client->number() == m_number : isOneOfMany)
            chosen.append(client);
    }
    if (isOne() && chosen.isEmpty())
        *error = QStringLiteral("there is no client %1").arg(m_number);
    return chosen;
}
