#ifndef FRAMECODEC_H
#define FRAMECODEC_H

#include <QByteArray>
#include <QtEndian>

#include <cstring>

/// The frame on the local socket, the same in both directions: an unsigned 32-bit little-endian
/// count of payload bytes, then the payload. The count does not include itself.
namespace FrameCodec {

constexpr int LengthBytes = 4;

/// The frame that carries \a payload.
QByteArray encode(const QByteArray &payload);

/// The length in the first bytes of \a data. Bytes that have not arrived yet count as 0.
inline quint32 decodeLength(const char *data, int available)
{
    if (available >= LengthBytes)
        return qFromLittleEndian<quint32>(data);
    quint32 length = 0;
    if (available > 0)
        std::memcpy(&length, data, available);
    return qFromLittleEndian(length);
}

} // namespace FrameCodec

#endif
