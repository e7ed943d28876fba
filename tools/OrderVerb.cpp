#include "OrderVerb.h"

#include "VerbOptions.h"

OrderVerb::OrderVerb()
    : CommandVerb(QStringLiteral("order"),
                  QStringLiteral("Send an order of the server's own language."))
{ }

void OrderVerb::addOptions(VerbOptions *options)
{
    options->arguments("WORDS", QStringLiteral("The order; a blank comes between two words."), true,
                       &m_words);
}

QString OrderVerb::problem() const
{
    if (QString::fromLatin1(order().toLatin1()) == order())
        return QString();
    return QStringLiteral("Only Latin-1 characters can be sent, not \"%1\".").arg(order());
}

bool OrderVerb::send()
{
    return session()->sendOrder(order().toLatin1());
}

void OrderVerb::taken()
{
    confirm(QStringLiteral("Sent \"%1\".").arg(order()), {{QStringLiteral("order"), order()}});
    finish(ExitCode::Done);
}

QString OrderVerb::order() const
{
    return m_words.join(QLatin1Char(' '));
}
