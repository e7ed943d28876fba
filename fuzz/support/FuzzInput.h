#ifndef FUZZINPUT_H
#define FUZZINPUT_H

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// Takes the bytes of one execution apart, from the front. When they are used up it gives zeros
/// and empty pieces.
class FuzzInput
{
public:
    /// \a data must outlive this.
    FuzzInput(const std::uint8_t *data, std::size_t size);

    bool isAtEnd() const;

    quint8 byte();
    /// A number below \a bound, which is at most 256.
    int below(int bound);
    /// Of any integer type, least significant byte first.
    template <typename Integer>
    Integer integer()
    {
        quint64 value = 0;
        for (std::size_t i = 0; i < sizeof(Integer); ++i)
            value |= static_cast<quint64>(byte()) << (8 * i);
        return static_cast<Integer>(value);
    }

    /// At most \a count bytes.
    QByteArray bytes(int count);
    /// The bytes up to the next FF, which ends the piece. FE has the byte after it taken as it
    /// stands. So a piece may grow and shrink without the ones behind it changing.
    QByteArray piece();
    /// A piece as UTF-16, least significant byte first: any text, also one that is not valid.
    QString text();
    QByteArray rest();

private:
    const std::uint8_t *m_position;
    const std::uint8_t *const m_end;
};

#endif
