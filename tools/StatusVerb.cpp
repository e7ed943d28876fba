#include "StatusVerb.h"

#include "ServerLookup.h"

StatusVerb::StatusVerb()
    : Verb(QStringLiteral("status"),
           QStringLiteral("Say whether a server is there and takes the registration; starts none."))
{ }

void StatusVerb::addOptions(VerbOptions *) { }

SessionOptions StatusVerb::sessionOptions() const
{
    SessionOptions options = Verb::sessionOptions();
    options.startsServer = false;
    return options;
}

void StatusVerb::ready()
{
    report(true);
    finish(ExitCode::Done);
}

void StatusVerb::closed(const SessionError &error)
{
    report(false);
    fail(error);
}

void StatusVerb::report(bool isRegistered)
{
    const std::optional<qint64> pid = serverProcessId();
    const QString version = session()->serverVersion();
    const int count = session()->equipmentTable().size();
    if (isJson()) {
        QJsonObject object{{QStringLiteral("running"), pid.has_value()},
                           {QStringLiteral("registered"), isRegistered}};
        if (pid)
            object.insert(QStringLiteral("pid"), *pid);
        if (isRegistered) {
            object.insert(QStringLiteral("version"), version);
            object.insert(QStringLiteral("equipment"), count);
        }
        output()->json(object);
        return;
    }
    QString text = pid ? QStringLiteral("process       running, %1\n").arg(*pid)
                       : QStringLiteral("process       none of that name\n");
    text += isRegistered ? QStringLiteral("registration  confirmed\nversion       %1\n"
                                          "equipment     %2\n")
                               .arg(version)
                               .arg(count)
                         : QStringLiteral("registration  none\n");
    output()->text(text);
}
