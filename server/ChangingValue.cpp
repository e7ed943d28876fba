#include "ChangingValue.h"

qint64 ChangingValue::next(qint64 value, QRandomGenerator *random) const
{
    switch (kind) {
    case Kind::Ramp:
        return value + step > to ? from : value + step;
    case Kind::Noise:
        return from
            + static_cast<qint64>(random->generateDouble() * static_cast<double>(to - from + 1));
    default:
        return value + step;
    }
}

QByteArray ChangingValue::encoded(qint64 value) const
{
    QByteArray encoded;
    for (int i = 0; i < bytes; ++i)
        encoded.append(static_cast<char>((value >> (8 * i)) & 0xFF));
    return encoded;
}
