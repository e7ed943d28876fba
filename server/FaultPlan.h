#ifndef FAULTPLAN_H
#define FAULTPLAN_H

#include "Fault.h"
#include "RegisterAnswer.h"

#include <QJsonArray>
#include <QRandomGenerator>
#include <QVector>

#include <optional>

/// The faults that are set, for all clients together. What is random in them depends on the seed
/// and on the messages before, nothing else.
class FaultPlan
{
public:
    explicit FaultPlan(quint32 seed);

    bool isEmpty() const;

    /// The number that the fault has from then on.
    int add(const Fault &fault);

    /// False when no fault has that number.
    bool clear(int number);
    void clear();

    /// The faults that \a message suffers, in the order in which they take effect. Each has been
    /// used once; one that was used up is gone from the plan. A jitter has become a delay.
    QVector<Fault> take(const OutgoingMessage &message);

    /// The answer that the next registration gets, when a fault says so.
    std::optional<RegisterAnswer> takeRegisterAnswer();

    QJsonArray description() const;

private:
    struct Entry
    {
        int number;
        Fault fault;
    };

    bool use(int index);

    QVector<Entry> m_entries;
    int m_lastNumber = 0;
    QRandomGenerator m_random;
};

#endif
