#include "FaultPlan.h"

#include <algorithm>

FaultPlan::FaultPlan(quint32 seed)
    : m_random(seed)
{ }

bool FaultPlan::isEmpty() const
{
    return m_entries.isEmpty();
}

int FaultPlan::add(const Fault &fault)
{
    m_entries.append({++m_lastNumber, fault});
    return m_lastNumber;
}

bool FaultPlan::clear(int number)
{
    const auto isMeant = [number](const Entry &entry) { return entry.number == number; };
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), isMeant);
    if (found == m_entries.end())
        return false;
    m_entries.erase(found);
    return true;
}

void FaultPlan::clear()
{
    m_entries.clear();
}

QVector<Fault> FaultPlan::take(const OutgoingMessage &message)
{
    QVector<Fault> taken;
    for (int i = 0; i < m_entries.size();) {
        const Fault fault = m_entries.at(i).fault;
        const bool isConcerned = fault.concerns(message);
        if (isConcerned)
            taken.append(fault);
        if (!isConcerned || use(i))
            ++i;
    }
    std::stable_sort(taken.begin(), taken.end(),
                     [](const Fault &a, const Fault &b) { return a.kind() < b.kind(); });
    for (Fault &fault : taken) {
        if (fault.kind() == Fault::Kind::Jitter)
            fault.setParameter("ms", m_random.bounded(static_cast<int>(fault.parameter("ms")) + 1));
    }
    return taken;
}

std::optional<RegisterAnswer> FaultPlan::takeRegisterAnswer()
{
    for (int i = 0; i < m_entries.size(); ++i) {
        const Fault fault = m_entries.at(i).fault;
        if (fault.kind() != Fault::Kind::Register)
            continue;
        use(i);
        return static_cast<RegisterAnswer>(fault.parameter("answer"));
    }
    return std::nullopt;
}

QJsonArray FaultPlan::description() const
{
    QJsonArray list;
    for (const Entry &entry : m_entries) {
        QJsonObject description = entry.fault.description();
        description.insert(QStringLiteral("number"), entry.number);
        list.append(description);
    }
    return list;
}

// False when the entry was used up and is gone.
bool FaultPlan::use(int index)
{
    if (m_entries[index].fault.use())
        return true;
    m_entries.remove(index);
    return false;
}
