#ifndef MESSAGECOUNTS_H
#define MESSAGECOUNTS_H

#include <QJsonObject>

#include <array>

/// How many messages there were of each identifier.
class MessageCounts
{
public:
    void add(int id);
    void add(const MessageCounts &other);

    quint64 total() const;
    /// The counts that are not 0, by identifier.
    QJsonObject byIdentifier() const;

private:
    std::array<quint64, 256> m_counts{};
};

#endif
