#ifndef ORDER_H
#define ORDER_H

#include <QByteArray>

#include <cstring>

/// What a receiver asks its writer for: so many bodies of that size, one after another. It travels
/// as it stands in memory, between two processes of one machine.
struct Order
{
    qint32 bodyBytes;
    qint32 count;

    QByteArray bytes() const
    {
        return QByteArray(reinterpret_cast<const char *>(this), sizeof *this);
    }
    static Order read(const char *data)
    {
        Order order;
        std::memcpy(&order, data, sizeof order);
        return order;
    }

    /// What is written: the identifier of a reply, so that the proxy queues it, then its text.
    QByteArray body() const
    {
        QByteArray all(bodyBytes, 'x');
        all[0] = First;
        all[bodyBytes - 1] = Last;
        return all;
    }
    static constexpr char First = 11;
    static constexpr char Last = 'z';

    /// How many bodies the writer hands over at a time.
    int batch() const
    {
        return qMax(1, BatchBytes / bodyBytes);
    }

    static constexpr int BatchBytes = 65536;
};

#endif
