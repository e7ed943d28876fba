#ifndef EQUIPMENTINFO_H
#define EQUIPMENTINFO_H

#include <QMetaType>
#include <QString>
#include <QVector>

/// Network details of an equipment. The table that the server sends does not carry them, so they
/// keep their defaults.
struct LanAdditionalInfo
{
    ///@{
    /// Empty, not null, and 0: what an application puts there is its own affair.
    QString text1 = QLatin1String("");
    qint32 number = 0;
    QString text2 = QLatin1String("");
    QString text3 = QLatin1String("");
    ///@}
};

/// One piece of equipment that the server can reach: a plain value, copied whole. The strings of a
/// new record are empty but not null. Fields that are not marked as coming from the server keep
/// their defaults. What the server's numbers mean is its own affair; the simulated one's meaning is
/// given.
struct EquipmentInfo
{
    qint16 shortValue = -1; ///< from the server, low 16 bits: 1 controller, 2 scan board
    qint64 longValue = 0; ///< from the server: the serial number
    bool flag = false; ///< the application's own, as are the others without a remark
    QString text = QLatin1String(""); ///< from the server: the description
    QString connectionKey = QLatin1String(""); ///< from the server: the key of the table's entry
    QString connectionKeyCopy = QLatin1String(""); ///< the same key again
    qint32 intValue = 256; ///< from the server: 1 connected, 0 not
    ///@{
    /// The application's own.
    QString extraText = QLatin1String("");
    qint64 extraValue = 0;
    LanAdditionalInfo lanInfo;
    QString extraText2 = QLatin1String("");
    QString extraText3 = QLatin1String("");
    qint32 extraInt = 0;
    QVector<EquipmentInfo> children;
    ///@}
};

Q_DECLARE_METATYPE(LanAdditionalInfo)
Q_DECLARE_METATYPE(EquipmentInfo)

#endif
