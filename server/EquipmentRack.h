#ifndef EQUIPMENTRACK_H
#define EQUIPMENTRACK_H

#include "EquipmentDescription.h"
#include "EquipmentMemory.h"

#include <QStringList>
#include <QVector>

/// All simulated equipment: what is there, what is connected, what its memory holds.
class EquipmentRack
{
public:
    /// Equipment that appears later is not there yet.
    explicit EquipmentRack(const QVector<EquipmentDescription> &descriptions);

    /// The equipment table as it travels, of what is there.
    QString tableText() const;

    /// The keys of the controllers that are there.
    QStringList controllers() const;

    /// Connects what has the key and, with a controller, the scan boards that belong to it. False
    /// when it is not there.
    bool connectEquipment(const QString &key);

    /// Connects every controller that is there, with its scan boards.
    void connectAll();

    /// The equipment with that key is there from now on, not connected.
    void appear(const QString &key);

    /// The memory of the equipment with that key; null when it is not there.
    EquipmentMemory *memory(const QString &key);

private:
    struct Unit
    {
        EquipmentDescription description;
        EquipmentMemory memory;
        bool isThere;
        bool isConnected;
    };

    Unit *find(const QString &key);

    QVector<Unit> m_units;
    QHash<QString, int> m_indices;
};

#endif
