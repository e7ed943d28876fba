#ifndef EQUIPMENTADDRESS_H
#define EQUIPMENTADDRESS_H

#include <QMetaType>
#include <QString>

/// A place in the memory of a piece of equipment: a plain value.
struct EquipmentAddress
{
    EquipmentAddress() = default;
    EquipmentAddress(const QString &connectionKey, quint32 byteAddress)
        : key(connectionKey)
        , address(byteAddress)
    { }

    /// Whether \a length bytes from here on still lie within the 32-bit addresses.
    bool isFollowedBy(qint64 length) const
    {
        return address + length <= (1LL << 32);
    }

    QString key; ///< connection key, a key of the equipment table
    quint32 address = 0; ///< in bytes
    qint8 port = 0;
    int scanBoard = 0;
    int deviceType = 0;
};

Q_DECLARE_METATYPE(EquipmentAddress)

#endif
