#include "EquipmentMemory.h"

EquipmentMemory::EquipmentMemory(int bytes, int ports, int scanBoards)
    : m_bytes(bytes)
    , m_ports(ports)
    , m_scanBoards(scanBoards)
{ }

bool EquipmentMemory::read(const Place &place, int length, QByteArray *data) const
{
    if (!contains(place, length))
        return false;
    const auto bank = m_banks.constFind({place.port, place.scanBoard});
    *data = bank == m_banks.constEnd() ? QByteArray(length, '\0')
                                       : bank->mid(static_cast<int>(place.address), length);
    return true;
}

bool EquipmentMemory::write(const Place &place, const QByteArray &data)
{
    if (!contains(place, data.size()))
        return false;
    if (data.isEmpty())
        return true;
    QByteArray &bank = m_banks[{place.port, place.scanBoard}];
    if (bank.isEmpty())
        bank.fill('\0', m_bytes);
    bank.replace(static_cast<int>(place.address), data.size(), data);
    return true;
}

bool EquipmentMemory::contains(const Place &place, int length) const
{
    return place.port >= 0 && place.port < m_ports && place.scanBoard >= 0
        && place.scanBoard < m_scanBoards && length >= 0
        && qint64(place.address) + length <= m_bytes;
}
