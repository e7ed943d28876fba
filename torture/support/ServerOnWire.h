#ifndef SERVERONWIRE_H
#define SERVERONWIRE_H

#include "WireVector.h"

/// Plays a vector to the simulated server: a process of its own, a client that sends the bytes, and
/// a second one, registered, that looks on.
class ServerOnWire
{
public:
    /// \a common is what the table says for all vectors of this direction.
    explicit ServerOnWire(const QJsonObject &common);

    WireOutcome play(const WireVector &vector, const WireDamage &damage = WireDamage());

private:
    QJsonObject expectedOf(const WireVector &vector) const;

    QString m_scenario;
    QJsonObject m_reply;
};

#endif
