#include "EquipmentRack.h"

#include "EquipmentKeyText.h"

EquipmentRack::EquipmentRack(const QVector<EquipmentDescription> &descriptions)
{
    for (const EquipmentDescription &d : descriptions) {
        m_indices.insert(d.key, m_units.size());
        m_units.append(
            {d, EquipmentMemory(d.memory, d.ports, d.scanBoards), d.appearsAfterMs == 0, false});
    }
}

QString EquipmentRack::tableText() const
{
    QStringList records;
    for (const Unit &unit : m_units) {
        if (!unit.isThere)
            continue;
        const EquipmentDescription &description = unit.description;
        records.append(QStringList{EquipmentKeyText::escaped(description.key),
                                   QString::number(static_cast<int>(description.kind)),
                                   QString::number(description.serial), description.text,
                                   QString::number(unit.isConnected ? 1 : 0)}
                           .join(QLatin1Char('/')));
    }
    return records.join(QLatin1Char(','));
}

QStringList EquipmentRack::controllers() const
{
    QStringList keys;
    for (const Unit &unit : m_units) {
        if (unit.isThere && unit.description.kind == EquipmentDescription::Kind::Controller)
            keys.append(unit.description.key);
    }
    return keys;
}

bool EquipmentRack::connectEquipment(const QString &key)
{
    Unit *const found = find(key);
    if (found == nullptr)
        return false;
    found->isConnected = true;
    for (Unit &unit : m_units) {
        if (unit.isThere && unit.description.controller == key)
            unit.isConnected = true;
    }
    return true;
}

void EquipmentRack::connectAll()
{
    const QStringList keys = controllers();
    for (const QString &key : keys)
        connectEquipment(key);
}

void EquipmentRack::appear(const QString &key)
{
    const int index = m_indices.value(key, -1);
    if (index >= 0)
        m_units[index].isThere = true;
}

EquipmentMemory *EquipmentRack::memory(const QString &key)
{
    Unit *const unit = find(key);
    return unit != nullptr ? &unit->memory : nullptr;
}

EquipmentRack::Unit *EquipmentRack::find(const QString &key)
{
    const int index = m_indices.value(key, -1);
    return index >= 0 && m_units.at(index).isThere ? &m_units[index] : nullptr;
}
