#include "EquipmentRack.h"

EquipmentRack::EquipmentRack(const QVector<EquipmentDescription> &descriptions, quint32 seed)
{
    for (const EquipmentDescription &description : descriptions) {
        const quint32 seeds[] = {seed, static_cast<quint32>(m_units.size())};
        m_indices.insert(description.key, m_units.size());
        m_units.append(EquipmentUnit(description, QRandomGenerator(seeds)));
    }
}

QString EquipmentRack::tableText() const
{
    QStringList records;
    for (const EquipmentUnit &unit : m_units) {
        if (unit.isThere())
            records.append(unit.record());
    }
    return records.join(QLatin1Char(','));
}

QStringList EquipmentRack::keys() const
{
    QStringList keys;
    for (const EquipmentUnit &unit : m_units)
        keys.append(unit.description().key);
    return keys;
}

QStringList EquipmentRack::controllers() const
{
    QStringList keys;
    for (const EquipmentUnit &unit : m_units) {
        if (unit.isThere() && unit.description().kind == EquipmentDescription::Kind::Controller)
            keys.append(unit.description().key);
    }
    return keys;
}

bool EquipmentRack::connectEquipment(const QString &key, bool connected)
{
    EquipmentUnit *const found = find(key);
    if (found == nullptr)
        return false;
    found->setConnected(connected);
    const QVector<EquipmentUnit *> boards = boardsOf(key);
    for (EquipmentUnit *const board : boards)
        board->setConnected(connected);
    return true;
}

void EquipmentRack::appear(const QString &key)
{
    EquipmentUnit *const unit = described(key);
    if (unit == nullptr)
        return;
    unit->setThere(true);
    for (EquipmentUnit &other : m_units) {
        const QString otherKey = other.description().key;
        if (other.description().controller == key && m_goneBoards.removeOne(otherKey))
            other.setThere(true);
    }
}

void EquipmentRack::disappear(const QString &key)
{
    EquipmentUnit *const unit = find(key);
    if (unit == nullptr)
        return;
    unit->setThere(false);
    const QVector<EquipmentUnit *> boards = boardsOf(key);
    for (EquipmentUnit *const board : boards) {
        board->setThere(false);
        m_goneBoards.append(board->description().key);
    }
}

EquipmentUnit *EquipmentRack::described(const QString &key)
{
    const int index = m_indices.value(key, -1);
    return index >= 0 ? &m_units[index] : nullptr;
}

EquipmentUnit *EquipmentRack::find(const QString &key)
{
    EquipmentUnit *const unit = described(key);
    return unit != nullptr && unit->isThere() ? unit : nullptr;
}

// Those that are there.
QVector<EquipmentUnit *> EquipmentRack::boardsOf(const QString &controller)
{
    QVector<EquipmentUnit *> boards;
    for (EquipmentUnit &unit : m_units) {
        if (unit.isThere() && unit.description().controller == controller)
            boards.append(&unit);
    }
    return boards;
}
