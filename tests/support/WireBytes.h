#ifndef WIREBYTES_H
#define WIREBYTES_H

#include <QByteArray>
#include <QList>

/// The wire format written down a second time, so that tests do not check the codec with itself.
namespace WireBytes {

/// The four length bytes, least significant first.
QByteArray lengthField(quint32 length);

/// The length bytes that go with \a payload, then \a payload.
QByteArray frame(const QByteArray &payload);

/// One identifier byte, then \a text as it stands.
QByteArray body(int id, const QByteArray &text = QByteArray());

/// A frame with that body.
QByteArray message(int id, const QByteArray &text = QByteArray());

/// The payloads of the complete frames in \a stream.
QList<QByteArray> payloads(const QByteArray &stream);

} // namespace WireBytes

#endif
