#ifndef MESSAGEBODY_H
#define MESSAGEBODY_H

#include <QByteArray>
#include <QString>

/// The payload of a frame: one byte that identifies the message, then its data to the end.
namespace MessageBody {

/// The low 8 bits of \a id, then \a text in Latin-1. Higher bits are dropped and a character that
/// Latin-1 does not have becomes "?".
QByteArray encode(int id, const QString &text);

/// The first byte of \a body, signed: 0x80 to 0xFF are negative. The body must not be empty.
int id(const QByteArray &body);

/// Everything after the first byte as it stands.
QByteArray bytes(const QByteArray &body);

/// Everything after the first byte, each byte the character of the same code.
QString text(const QByteArray &body);

} // namespace MessageBody

#endif
