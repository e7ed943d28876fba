#include "CancelVerb.h"

#include "VerbOptions.h"

CancelVerb::CancelVerb()
    : CommandVerb(QStringLiteral("cancel"),
                  QStringLiteral("Have the server drop requests that it has not answered."))
{ }

void CancelVerb::addOptions(VerbOptions *options)
{
    options->optionalArgument("KEY", QStringLiteral("The equipment's connection key: see list."),
                              &m_key);
    options->flag("--all", QStringLiteral("Drop the requests to all equipment."), &m_isAll);
}

QString CancelVerb::problem() const
{
    if (m_isAll == m_key.isEmpty())
        return QString();
    return QStringLiteral("Name a key, or give --all: one of the two.");
}

SessionError CancelVerb::check() const
{
    return m_isAll ? SessionError() : keyError(m_key);
}

bool CancelVerb::send()
{
    return m_isAll ? session()->cancelAllRequests() : session()->cancelRequests(m_key);
}

void CancelVerb::taken()
{
    confirm(m_isAll ? QStringLiteral("Cancelled the requests to all equipment.")
                    : QStringLiteral("Cancelled the requests to %1.").arg(m_key),
            {{QStringLiteral("cancelled"), m_isAll ? QJsonValue(true) : QJsonValue(m_key)}});
    finish(ExitCode::Done);
}
