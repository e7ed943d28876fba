#ifndef EQUIPMENTTEXT_H
#define EQUIPMENTTEXT_H

#include "EquipmentInfo.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QStringList>

/// The equipment table for people and programs.
namespace EquipmentText {

bool isController(const EquipmentInfo &equipment);
bool isConnected(const EquipmentInfo &equipment);

QJsonObject json(const EquipmentInfo &equipment);

/// The keys, one a line.
QString keys(const QMap<QString, EquipmentInfo> &table);
QString table(const QMap<QString, EquipmentInfo> &table);
QJsonArray jsonTable(const QMap<QString, EquipmentInfo> &table);

/// The keys of the controllers.
QStringList controllers(const QMap<QString, EquipmentInfo> &table);

} // namespace EquipmentText

#endif
