#ifndef FAULT_H
#define FAULT_H

#include "MessageFilter.h"

#include <QJsonObject>
#include <QMap>

class JsonFields;
namespace FaultKinds {
struct Entry;
}

/// Something that the server does wrong on purpose: what, to which messages and how often.
class Fault
{
public:
    /// In the order in which several faults of one message take effect.
    enum class Kind {
        Exit,
        Stall,
        Drop,
        WrongSerial,
        NoComma,
        UnknownIdentifier,
        EmptyBody,
        Length,
        Repeat,
        Close,
        Cut,
        Drip,
        Delay,
        Jitter,
        Reorder,
        Coalesce,
        Register,
    };

    /// From an object whose field `fault` names the kind. Whether it is right, the fields tell.
    static Fault read(JsonFields *fields);

    Kind kind() const;

    /// Whether it has to do with such a message. One of the kind `Register` never has.
    bool concerns(const OutgoingMessage &message) const;

    qint64 parameter(const char *name) const;
    void setParameter(const char *name, qint64 value);

    /// Counts one use; false when that was the last.
    bool use();

    /// As it was given, with the messages that are `left` to it: 0 when it stays until it is
    /// cleared.
    QJsonObject description() const;

private:
    void describe(const QJsonObject &given, const FaultKinds::Entry &entry);

    Kind m_kind = Kind::Drop;
    MessageFilter m_filter;
    QMap<QString, qint64> m_parameters;
    bool m_isEndless = false;
    int m_usesLeft = 1;
    QJsonObject m_description;
};

#endif
