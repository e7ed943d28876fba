#ifndef EQUIPMENTTABLECHANGE_H
#define EQUIPMENTTABLECHANGE_H

#include "EquipmentInfo.h"

#include <QMap>
#include <QStringList>

/// What is different between two equipment tables: the keys of the records, each list sorted.
struct EquipmentTableChange
{
    using Table = QMap<QString, EquipmentInfo>;

    static EquipmentTableChange between(const Table &before, const Table &after);

    bool isEmpty() const;

    QStringList added;
    QStringList removed;
    QStringList changed;
};

#endif
