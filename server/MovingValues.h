#ifndef MOVINGVALUES_H
#define MOVINGVALUES_H

#include "ChangingValue.h"

#include <QObject>

class EquipmentRack;

/// Moves the changing values of all equipment in its memory. Which values follow each other depends
/// on the seed alone.
class MovingValues : public QObject
{
    Q_OBJECT

public:
    /// \a rack stays the caller's. The first values are stored at once.
    MovingValues(EquipmentRack *rack, quint32 seed);

private:
    void add(EquipmentMemory *memory, const ChangingValue &value, const QRandomGenerator &random);
};

#endif
