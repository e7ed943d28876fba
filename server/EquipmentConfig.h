#ifndef EQUIPMENTCONFIG_H
#define EQUIPMENTCONFIG_H

#include "EquipmentDescription.h"

#include <QByteArray>
#include <QJsonObject>
#include <QStringList>
#include <QVector>

/// The equipment that the server simulates, from JSON:
///
/// \code
/// {"equipment": [
///   {"key": "COM1", "kind": "controller", "serial": 1001, "text": "Controller",
///    "memory": 65536, "ports": 2, "scanBoards": 4, "appearsAfter": 0},
///   {"key": "COM1/1", "kind": "scanBoard", "controller": "COM1"}
/// ]}
/// \endcode
///
/// `key` and `kind` are required, `controller` too for a scan board; the rest has defaults. Bad
/// input is refused as a whole, with a reason that names the place.
class EquipmentConfig
{
public:
    /// Two controllers and three scan boards.
    static QVector<EquipmentDescription> builtIn();

    /// False when the file cannot be read or is not right; `error` then says what and where.
    bool readFile(const QString &fileName);
    bool read(const QByteArray &json);

    const QVector<EquipmentDescription> &equipment() const;
    QString error() const;

private:
    bool readEntry(const QJsonObject &object, const QString &place);
    bool readKey(const QJsonObject &object, const QString &place, QString *key);
    bool readKind(const QJsonObject &object, const QString &place,
                  EquipmentDescription *description);
    bool readNumbers(const QJsonObject &object, const QString &place,
                     EquipmentDescription *description);
    bool checkNames(const QJsonObject &object, const QString &place, const QStringList &known);
    bool readText(const QJsonObject &object, const QString &place, const QString &name,
                  QString *text);
    bool readNumber(const QJsonObject &object, const QString &place, const QString &name,
                    int smallest, int largest, int *number);
    bool checkControllers();
    bool refuse(const QString &place, const QString &reason);

    QVector<EquipmentDescription> m_equipment;
    QString m_error;
};

#endif
