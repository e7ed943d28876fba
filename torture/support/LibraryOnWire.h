#ifndef LIBRARYONWIRE_H
#define LIBRARYONWIRE_H

#include "WireVector.h"

/// Plays a vector to the library: a proxy that is connected to a peer of this process, whose loops
/// are turned by hand, so that its queue can be looked at.
class LibraryOnWire
{
public:
    /// \a common is what the table says for all vectors of this direction.
    explicit LibraryOnWire(const QJsonObject &common);

    WireOutcome play(const WireVector &vector, const WireDamage &damage = WireDamage());

private:
    QJsonObject m_reply;
};

#endif
