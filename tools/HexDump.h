#ifndef HEXDUMP_H
#define HEXDUMP_H

#include <QByteArray>

/// Bytes for people to look at.
namespace HexDump {

constexpr int BytesPerLine = 16;

/// Lines such as
/// `00000040  48 65 6c 6c 6f 2c 20 65  71 75 69 70 6d 65 6e 74  |Hello, equipment|`, each with its
/// line end. The first begins at \a address, whatever that is.
QByteArray text(const QByteArray &data, quint32 address);

/// One such line, without its line end, of at most `BytesPerLine` bytes.
QByteArray line(const QByteArray &data, quint32 address);

} // namespace HexDump

#endif
