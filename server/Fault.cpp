#include "Fault.h"

#include "CommandFields.h"
#include "FaultKinds.h"
#include "JsonFields.h"

Fault Fault::read(JsonFields *fields)
{
    const FaultKinds::Entry &entry
        = FaultKinds::all().at(fields->choice("fault", FaultKinds::names()));
    Fault fault;
    fault.m_kind = entry.kind;
    for (const FaultKinds::Parameter &p : entry.parameters)
        fault.setParameter(p.name,
                           p.choices.isEmpty()
                               ? fields->number(p.name, p.smallest, p.largest, p.initial)
                               : fields->choice(p.name, p.choices, static_cast<int>(p.initial)));
    const int count = CommandFields::count(fields, 1);
    fault.m_isEndless = count == 0;
    // Of these, one use is a group of messages.
    fault.m_usesLeft = fault.m_kind == Kind::Coalesce || fault.m_kind == Kind::Reorder
        ? count * static_cast<int>(fault.parameter("frames"))
        : count;
    if (fault.m_kind != Kind::Register)
        fault.m_filter = MessageFilter::read(fields, fault.m_kind == Kind::NoComma);
    fault.describe(fields->object(), entry);
    return fault;
}

// Of what was given only what is the fault's own.
void Fault::describe(const QJsonObject &given, const FaultKinds::Entry &entry)
{
    QStringList names{QStringLiteral("fault"), QStringLiteral("messages"), QStringLiteral("ids"),
                      QStringLiteral("key")};
    for (const FaultKinds::Parameter &parameter : entry.parameters)
        names.append(QLatin1String(parameter.name));
    for (const QString &name : qAsConst(names)) {
        if (given.contains(name))
            m_description.insert(name, given.value(name));
    }
}

Fault::Kind Fault::kind() const
{
    return m_kind;
}

bool Fault::concerns(const OutgoingMessage &message) const
{
    return m_filter.lets(message);
}

qint64 Fault::parameter(const char *name) const
{
    return m_parameters.value(QLatin1String(name));
}

void Fault::setParameter(const char *name, qint64 value)
{
    m_parameters.insert(QLatin1String(name), value);
}

bool Fault::use()
{
    return m_isEndless || --m_usesLeft > 0;
}

QJsonObject Fault::description() const
{
    QJsonObject description = m_description;
    description.insert(QStringLiteral("left"), m_isEndless ? 0 : m_usesLeft);
    return description;
}
