#ifndef EQUIPMENTADDRESS_H
#define EQUIPMENTADDRESS_H

#include <QMetaType>
#include <QString>

/// A place in the memory of a piece of equipment: a plain value.
struct EquipmentAddress
{
    EquipmentAddress() = default;
    /// The first byte of a piece of equipment's memory, or another, at port and scan board 0.
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
    qint8 port = 0; ///< of the equipment
    int scanBoard = 0; ///< behind that port
    int deviceType = 0; ///< as the equipment has it
};

Q_DECLARE_METATYPE(EquipmentAddress)

#endif
