#ifndef EQUIPMENTCONFIG_H
#define EQUIPMENTCONFIG_H

#include "EquipmentDescription.h"

#include <QByteArray>
#include <QJsonObject>
#include <QVector>

class JsonFields;

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
/// `key` and `kind` are required, `controller` too for a scan board; the rest has defaults, see
/// docs/simulator.md. Bad input is refused as a whole, with a reason that names the place.
class EquipmentConfig
{
public:
    /// Two controllers and three scan boards.
    static QVector<EquipmentDescription> builtIn();

    /// The list `equipment` of an object that may hold other things; empty when it is not right.
    /// Names of files in it are relative to \a folder.
    static QVector<EquipmentDescription> readList(JsonFields *fields, const QString &folder);

    /// False when the file cannot be read or is not right; `error` then says what and where.
    bool readFile(const QString &fileName);
    bool read(const QByteArray &json);

    const QVector<EquipmentDescription> &equipment() const;
    QString error() const;

private:
    bool readObject(const QJsonObject &object, const QString &folder);

    QVector<EquipmentDescription> m_equipment;
    QString m_error;
};

#endif
