#ifndef EQUIPMENTMEMORY_H
#define EQUIPMENTMEMORY_H

#include <QByteArray>
#include <QHash>
#include <QPair>

/// The memory of one piece of equipment: a bank of bytes behind each port of each scan board
/// address. A bank that was never written reads as zeros and takes no room.
class EquipmentMemory
{
public:
    EquipmentMemory(int bytes, int ports, int scanBoards);

    /// Where a request points to.
    struct Place
    {
        int port;
        int scanBoard;
        quint32 address;
    };

    /// False, with nothing read, when there is no such bank or the range leaves it.
    bool read(const Place &place, int length, QByteArray *data) const;

    /// False, with nothing written, in the same cases. No data fits everywhere up to the bank's
    /// end.
    bool write(const Place &place, const QByteArray &data);

    /// Whether that many bytes from there on lie in one bank.
    bool contains(const Place &place, int length) const;

private:
    int m_bytes;
    int m_ports;
    int m_scanBoards;
    QHash<QPair<int, int>, QByteArray> m_banks;
};

#endif
