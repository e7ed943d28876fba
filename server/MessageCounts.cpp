#include "MessageCounts.h"

#include <numeric>

void MessageCounts::add(int id)
{
    ++m_counts.at(static_cast<size_t>(id & 0xFF));
}

void MessageCounts::add(const MessageCounts &other)
{
    for (size_t id = 0; id < m_counts.size(); ++id)
        m_counts.at(id) += other.m_counts.at(id);
}

quint64 MessageCounts::total() const
{
    return std::accumulate(m_counts.cbegin(), m_counts.cend(), quint64(0));
}

QJsonObject MessageCounts::byIdentifier() const
{
    QJsonObject counts;
    for (size_t id = 0; id < m_counts.size(); ++id) {
        if (m_counts.at(id) > 0)
            counts.insert(QString::number(id), static_cast<qint64>(m_counts.at(id)));
    }
    return counts;
}
