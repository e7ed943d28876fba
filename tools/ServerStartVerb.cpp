#include "ServerStartVerb.h"

#include "ServerLookup.h"

ServerStartVerb::ServerStartVerb()
    : Verb(QStringLiteral("server start"),
           QStringLiteral("Start the server unless one runs, wait for it, and say its process id."))
{ }

void ServerStartVerb::addOptions(VerbOptions *) { }

void ServerStartVerb::opening()
{
    connect(session(), &DeviceSession::stateChanged, this, [this](DeviceSession::State state) {
        m_hasStarted = m_hasStarted || state == DeviceSession::State::StartingServer;
    });
}

void ServerStartVerb::ready()
{
    const std::optional<qint64> pid = serverProcessId();
    QJsonObject object{{QStringLiteral("started"), m_hasStarted},
                       {QStringLiteral("version"), session()->serverVersion()}};
    if (pid)
        object.insert(QStringLiteral("pid"), *pid);
    const QString name = pid ? QStringLiteral("Server process %1").arg(*pid)
                             : QStringLiteral("A server of another process name");
    confirm(m_hasStarted ? name + QLatin1String(" has been started.")
                         : name + QLatin1String(" was running already."),
            object);
    finish(ExitCode::Done);
}
