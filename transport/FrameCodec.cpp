#include "FrameCodec.h"

QByteArray FrameCodec::encode(const QByteArray &payload)
{
    const auto length = static_cast<quint32>(payload.size());
    QByteArray frame;
    frame.reserve(LengthBytes + payload.size());
    // Shifted out byte by byte: the order must not depend on the host's.
    for (int i = 0; i < LengthBytes; ++i)
        frame.append(static_cast<char>((length >> (8 * i)) & 0xFF));
    frame.append(payload);
    return frame;
}

quint32 FrameCodec::decodeLength(const char *data, int available)
{
    quint32 length = 0;
    for (int i = 0; i < LengthBytes && i < available; ++i)
        length |= static_cast<quint32>(static_cast<quint8>(data[i])) << (8 * i);
    return length;
}
