#include "HexDump.h"

namespace {

constexpr int AddressDigits = 8;
constexpr int HalfLine = HexDump::BytesPerLine / 2;
constexpr int HexColumns = HexDump::BytesPerLine * 3 + 1; // a wider gap in the middle

char printable(char byte)
{
    return byte >= ' ' && byte <= '~' ? byte : '.';
}

} // namespace

QByteArray HexDump::line(const QByteArray &data, quint32 address)
{
    QByteArray hex;
    QByteArray characters;
    for (int i = 0; i < data.size(); ++i) {
        hex += i == HalfLine ? "  " : " ";
        hex += data.mid(i, 1).toHex();
        characters += printable(data.at(i));
    }
    return QByteArray::number(address, 16).rightJustified(AddressDigits, '0') + ' '
        + hex.leftJustified(HexColumns) + "  |" + characters + '|';
}

QByteArray HexDump::text(const QByteArray &data, quint32 address)
{
    QByteArray lines;
    for (int i = 0; i < data.size(); i += BytesPerLine)
        lines += line(data.mid(i, BytesPerLine), address + static_cast<quint32>(i)) + '\n';
    return lines;
}
