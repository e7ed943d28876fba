#include "EquipmentText.h"

#include "TextTable.h"

namespace {

constexpr int ControllerKind = 1;
constexpr int ScanBoardKind = 2;

QString kindName(const EquipmentInfo &equipment)
{
    switch (equipment.shortValue) {
    case ControllerKind:
        return QStringLiteral("controller");
    case ScanBoardKind:
        return QStringLiteral("scan board");
    default:
        return QString::number(equipment.shortValue);
    }
}

} // namespace

bool EquipmentText::isController(const EquipmentInfo &equipment)
{
    return equipment.shortValue == ControllerKind;
}

bool EquipmentText::isConnected(const EquipmentInfo &equipment)
{
    return equipment.intValue == 1;
}

QJsonObject EquipmentText::json(const EquipmentInfo &equipment)
{
    return {{QStringLiteral("key"), equipment.connectionKey},
            {QStringLiteral("kind"), kindName(equipment)},
            {QStringLiteral("serial"), equipment.longValue},
            {QStringLiteral("text"), equipment.text},
            {QStringLiteral("connected"), isConnected(equipment)}};
}

QString EquipmentText::keys(const QMap<QString, EquipmentInfo> &table)
{
    QString lines;
    const QStringList all = table.keys();
    for (const QString &key : all)
        lines += key + QLatin1Char('\n');
    return lines;
}

QString EquipmentText::table(const QMap<QString, EquipmentInfo> &table)
{
    TextTable lines({QStringLiteral("KEY"), QStringLiteral("KIND"), QStringLiteral("SERIAL"),
                     QStringLiteral("CONNECTED"), QStringLiteral("TEXT")});
    for (const EquipmentInfo &equipment : table)
        lines.addRow({equipment.connectionKey, kindName(equipment),
                      QString::number(equipment.longValue),
                      isConnected(equipment) ? QStringLiteral("yes") : QStringLiteral("no"),
                      equipment.text});
    return lines.text();
}

QJsonArray EquipmentText::jsonTable(const QMap<QString, EquipmentInfo> &table)
{
    QJsonArray array;
    for (const EquipmentInfo &equipment : table)
        array.append(json(equipment));
    return array;
}

QStringList EquipmentText::controllers(const QMap<QString, EquipmentInfo> &table)
{
    QStringList keys;
    for (const EquipmentInfo &equipment : table) {
        if (isController(equipment))
            keys.append(equipment.connectionKey);
    }
    return keys;
}
