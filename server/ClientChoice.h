#ifndef CLIENTCHOICE_H
#define CLIENTCHOICE_H

#include <QList>
#include <QString>

class ClientConnection;
class ClientGroup;
class JsonFields;

/// Whom a command is about: the client with the number in the field `client`, or several when
/// that field is not there.
class ClientChoice
{
public:
    enum class Otherwise { All, Registered, Nobody };

    static ClientChoice read(JsonFields *fields, Otherwise otherwise);

    /// Whether one client is meant.
    bool isOne() const;

    /// Those who are connected now. \a error says when the one that is meant is not.
    QList<ClientConnection *> among(const ClientGroup &clients, QString *error) const;

private:
    int m_number = 0;
    Otherwise m_otherwise = Otherwise::All;
};

#endif
