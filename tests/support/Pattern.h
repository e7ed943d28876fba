#ifndef PATTERN_H
#define PATTERN_H

#include "SessionFixture.h"

/// What tests put into the memory of an equipment, so that each place tells where it is.
inline QByteArray pattern(int address, int length)
{
    QByteArray bytes(length, '\0');
    for (int i = 0; i < length; ++i)
        bytes[i] = static_cast<char>((address + i) * 31 + ((address + i) >> 8));
    return bytes;
}

/// Bytes behind each port of the simulated server's equipment.
constexpr int MemoryBytes = 65536;

/// Fills the memory of \a key; false when the server refuses.
inline bool fillWithPattern(DeviceSession &session, const QString &key)
{
    const QScopedPointer<DeviceReply> reply(session.write({key, 0}, pattern(0, MemoryBytes)));
    return waitForEnd(*reply) && reply->error() == SessionError::Code::None;
}

#endif
