#include "NaiveFrames.h"

namespace {

constexpr int LengthBytes = 4;

quint32 lengthAt(const QByteArray &stream, int position)
{
    quint32 length = 0;
    for (int i = LengthBytes - 1; i >= 0; --i)
        length = length * 256 + static_cast<uchar>(stream.at(position + i));
    return length;
}

} // namespace

NaiveFrames::NaiveFrames(const QByteArray &stream)
{
    int position = 0;
    while (stream.size() - position >= LengthBytes) {
        const quint32 length = lengthAt(stream, position);
        // The four largest wrap around and are frames without a payload.
        const qint64 payload = length >= 0xFFFFFFFC ? 0 : length;
        if (stream.size() - position - LengthBytes < payload)
            return;
        payloads.append(stream.mid(position + LengthBytes, static_cast<int>(payload)));
        position += LengthBytes + static_cast<int>(payload);
        ends.append(position);
    }
}
