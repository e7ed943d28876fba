#ifndef EQUIPMENTUNIT_H
#define EQUIPMENTUNIT_H

#include "EquipmentDescription.h"

#include <QJsonObject>
#include <QRandomGenerator>

/// One piece of simulated equipment as it is now.
class EquipmentUnit
{
public:
    EquipmentUnit(const EquipmentDescription &description, const QRandomGenerator &random);

    const EquipmentDescription &description() const;
    EquipmentMemory *memory();

    bool isThere() const;
    void setThere(bool there);
    bool isConnected() const;
    void setConnected(bool connected);

    /// How long the next request to it takes; \a initialMs where it has no latency of its own.
    int takeLatencyMs(int initialMs);
    /// A latency of -1 is none of its own.
    void setLatency(int latencyMs, int jitterMs);

    /// Has that many requests, all when \a count is 0, answered with that result and not carried
    /// out. `Success` has them carried out.
    void setResult(TarnEnum::CommResults result, int count);
    TarnEnum::CommResults takeResult();

    /// Its record of the equipment table.
    QString record() const;
    /// Everything about it that can be changed.
    QJsonObject state() const;

private:
    EquipmentDescription m_description;
    EquipmentMemory m_memory;
    QRandomGenerator m_random;
    bool m_isThere;
    bool m_isConnected = false;
    int m_resultsLeft = 0;
};

#endif
