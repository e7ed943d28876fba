#include "AutoConnectVerb.h"

#include "VerbOptions.h"

namespace {

const QString On = QStringLiteral("on");
const QString Off = QStringLiteral("off");

} // namespace

AutoConnectVerb::AutoConnectVerb()
    : CommandVerb(QStringLiteral("auto-connect"),
                  QStringLiteral("Switch whether the server connects what appears later."))
{ }

void AutoConnectVerb::addOptions(VerbOptions *options)
{
    options->choiceArgument("SWITCH", {On, Off}, QStringLiteral("on or off."), &m_word);
}

bool AutoConnectVerb::send()
{
    return session()->setAutoConnect(isOn());
}

void AutoConnectVerb::taken()
{
    confirm(QStringLiteral("Automatic connection is %1.").arg(m_word),
            {{QStringLiteral("autoConnect"), isOn()}});
    finish(ExitCode::Done);
}

bool AutoConnectVerb::isOn() const
{
    return m_word == On;
}
