#include "FrameCodec.h"

QByteArray FrameCodec::encode(const QByteArray &payload)
{
    const auto length = static_cast<quint32>(payload.size());
    QByteArray frame(LengthBytes + payload.size(), Qt::Uninitialized);
    qToLittleEndian(length, frame.data());
    std::memcpy(frame.data() + LengthBytes, payload.constData(), payload.size());
    return frame;
}
