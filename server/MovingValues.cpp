#include "MovingValues.h"

#include "EquipmentRack.h"

#include <QTimer>

MovingValues::MovingValues(EquipmentRack *rack, quint32 seed)
{
    quint32 count = 0;
    const QStringList keys = rack->keys();
    for (const QString &key : keys) {
        EquipmentUnit *const unit = rack->described(key);
        for (const ChangingValue &value : unit->description().values) {
            const quint32 seeds[] = {seed, ++count};
            add(unit->memory(), value, QRandomGenerator(seeds));
        }
    }
}

void MovingValues::add(EquipmentMemory *memory, const ChangingValue &value,
                       const QRandomGenerator &random)
{
    memory->write(value.place, value.encoded(value.from));
    auto *const timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this,
            [memory, value, generator = random, now = value.from]() mutable {
                now = value.next(now, &generator);
                memory->write(value.place, value.encoded(now));
            });
    timer->start(value.everyMs);
}
