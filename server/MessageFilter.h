#ifndef MESSAGEFILTER_H
#define MESSAGEFILTER_H

#include "OutgoingMessage.h"

#include <bitset>

class JsonFields;

/// Which of the server's messages are meant: those of certain identifiers, about one equipment or
/// about any.
class MessageFilter
{
public:
    /// From the fields `messages` ("replies", "notifications", "broadcasts" or "all"), or `ids` (a
    /// list of identifiers), and `key`. Replies when neither of the first two is there, or
    /// broadcasts if \a broadcastsFirst.
    static MessageFilter read(JsonFields *fields, bool broadcastsFirst);

    bool lets(const OutgoingMessage &message) const;

private:
    std::bitset<256> m_ids;
    QString m_key;
};

#endif
