#include "FuzzInput.h"

namespace {

constexpr std::uint8_t PieceEnd = 0xFF;
constexpr std::uint8_t Escape = 0xFE;

} // namespace

FuzzInput::FuzzInput(const std::uint8_t *data, std::size_t size)
    : m_position(data)
    , m_end(data + size)
{ }

bool FuzzInput::isAtEnd() const
{
    return m_position == m_end;
}

quint8 FuzzInput::byte()
{
    return isAtEnd() ? 0 : *m_position++;
}

int FuzzInput::below(int bound)
{
    return byte() % bound;
}

QByteArray FuzzInput::bytes(int count)
{
    const auto available = static_cast<int>(m_end - m_position);
    QByteArray taken(reinterpret_cast<const char *>(m_position), qMin(count, available));
    m_position += taken.size();
    return taken;
}

QByteArray FuzzInput::piece()
{
    QByteArray piece;
    while (!isAtEnd()) {
        const quint8 next = byte();
        if (next == PieceEnd)
            break;
        piece.append(static_cast<char>(next == Escape ? byte() : next));
    }
    return piece;
}

QString FuzzInput::text()
{
    const QByteArray bytes = piece();
    QString text;
    for (int i = 0; i + 1 < bytes.size(); i += 2)
        text.append(QChar(static_cast<uchar>(bytes.at(i)), static_cast<uchar>(bytes.at(i + 1))));
    return text;
}

QByteArray FuzzInput::rest()
{
    return bytes(static_cast<int>(m_end - m_position));
}
