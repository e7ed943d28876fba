#ifndef FRAMECODEC_H
#define FRAMECODEC_H

#include <QByteArray>

/// The frame on the local socket, the same in both directions: an unsigned 32-bit little-endian
/// count of payload bytes, then the payload. The count does not include itself.
namespace FrameCodec {

constexpr int LengthBytes = 4;

/// The frame that carries \a payload.
QByteArray encode(const QByteArray &payload);

/// The length in the first bytes of \a data. Bytes that have not arrived yet count as 0.
quint32 decodeLength(const char *data, int available);

} // namespace FrameCodec

#endif
