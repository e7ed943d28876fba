#ifndef EQUIPMENTRACK_H
#define EQUIPMENTRACK_H

#include "EquipmentUnit.h"

#include <QHash>
#include <QStringList>
#include <QVector>

/// All simulated equipment: what is there, what is connected, what its memory holds.
class EquipmentRack
{
public:
    /// Equipment that appears later is not there yet. What is random depends on \a seed alone.
    explicit EquipmentRack(const QVector<EquipmentDescription> &descriptions, quint32 seed = 0);

    /// The equipment table as it travels, of what is there.
    QString tableText() const;

    /// The keys of everything described, there or not.
    QStringList keys() const;

    /// The keys of the controllers that are there.
    QStringList controllers() const;

    /// Connects, or disconnects, what has the key and, with a controller, the scan boards that
    /// belong to it. False when it is not there.
    bool connectEquipment(const QString &key, bool connected = true);

    /// The equipment with that key is there from now on, not connected; with a controller also the
    /// scan boards that went with it.
    void appear(const QString &key);

    /// The equipment with that key, with a controller also its scan boards, is not there any more.
    /// Its memory stays.
    void disappear(const QString &key);

    /// The equipment with that key, there or not; null when none was described.
    EquipmentUnit *described(const QString &key);

    /// The same; null when it is not there.
    EquipmentUnit *find(const QString &key);

private:
    QVector<EquipmentUnit *> boardsOf(const QString &controller);

    QVector<EquipmentUnit> m_units;
    QHash<QString, int> m_indices;
    QStringList m_goneBoards; // with their controller
};

#endif
