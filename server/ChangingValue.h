#ifndef CHANGINGVALUE_H
#define CHANGINGVALUE_H

#include "EquipmentMemory.h"

#include <QRandomGenerator>

/// A number in the memory of equipment that changes by itself, at regular times. It is stored with
/// its least significant byte first.
struct ChangingValue
{
    enum class Kind {
        Ramp, ///< from `from` up to `to`, then from the beginning again
        Counter, ///< on and on; it wraps around where its bytes end
        Noise, ///< anything between `from` and `to`
    };

    /// What follows \a value.
    qint64 next(qint64 value, QRandomGenerator *random) const;
    QByteArray encoded(qint64 value) const;

    Kind kind = Kind::Counter;
    EquipmentMemory::Place place{};
    int bytes = 2;
    int everyMs = 1000;
    qint64 from = 0;
    qint64 to = 0;
    qint64 step = 1;
};

#endif
