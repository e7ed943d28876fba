#include "WireBytes.h"

#include <QtEndian>

QByteArray WireBytes::lengthField(quint32 length)
{
    char bytes[4];
    qToLittleEndian(length, bytes);
    return QByteArray(bytes, sizeof bytes);
}

QByteArray WireBytes::frame(const QByteArray &payload)
{
    return lengthField(static_cast<quint32>(payload.size())) + payload;
}

QByteArray WireBytes::body(int id, const QByteArray &text)
{
    return QByteArray(1, static_cast<char>(id)) + text;
}

QByteArray WireBytes::message(int id, const QByteArray &text)
{
    return frame(body(id, text));
}

QList<QByteArray> WireBytes::payloads(const QByteArray &stream)
{
    QList<QByteArray> payloads;
    qint64 position = 0;
    while (position + 4 <= stream.size()) {
        const qint64 length = qFromLittleEndian<quint32>(stream.constData() + position);
        if (position + 4 + length > stream.size())
            break;
        payloads.append(stream.mid(static_cast<int>(position) + 4, static_cast<int>(length)));
        position += 4 + length;
    }
    return payloads;
}
