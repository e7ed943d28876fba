#include "ExitCode.h"

ExitCode exitCodeOf(SessionError::Code code)
{
    switch (code) {
    case SessionError::Code::None:
        return ExitCode::Done;
    case SessionError::Code::InvalidArgument:
        return ExitCode::Usage;
    case SessionError::Code::NoServer:
    case SessionError::Code::ServerStartFailed:
    case SessionError::Code::StartTimedOut:
        return ExitCode::NoServer;
    case SessionError::Code::RegistrationRejected:
    case SessionError::Code::RegistrationFailed:
        return ExitCode::RegistrationRefused;
    case SessionError::Code::NoEquipment:
        return ExitCode::NoEquipment;
    case SessionError::Code::DeviceRefused:
    case SessionError::Code::DeviceCancelled:
        return ExitCode::DeviceRefused;
    case SessionError::Code::RegistrationTimedOut:
    case SessionError::Code::TimedOut:
    case SessionError::Code::DeviceTimedOut:
        return ExitCode::TimedOut;
    case SessionError::Code::ConnectionLost:
    case SessionError::Code::SessionClosed:
        return ExitCode::ConnectionLost;
    case SessionError::Code::VerificationFailed:
        return ExitCode::VerificationFailed;
    case SessionError::Code::Aborted:
        return ExitCode::Interrupted;
    case SessionError::Code::WrongThread:
    case SessionError::Code::NotReady:
    case SessionError::Code::BadReply:
    case SessionError::Code::OutOfMemory:
        break;
    }
    return ExitCode::Failed;
}

QVector<ExitCodeMeaning> exitCodeMeanings()
{
    return {
        {ExitCode::Done, QStringLiteral("done")},
        {ExitCode::Failed, QStringLiteral("a file, or anything unexpected, stands in the way")},
        {ExitCode::Usage, QStringLiteral("the command line is wrong")},
        {ExitCode::NoServer, QStringLiteral("no server is there, or it cannot be started")},
        {ExitCode::RegistrationRefused, QStringLiteral("the server refuses the registration")},
        {ExitCode::NoEquipment, QStringLiteral("there is no such equipment")},
        {ExitCode::DeviceRefused, QStringLiteral("the server or the equipment refuses")},
        {ExitCode::TimedOut, QStringLiteral("no answer in time")},
        {ExitCode::ConnectionLost, QStringLiteral("the connection is lost")},
        {ExitCode::VerificationFailed,
         QStringLiteral("what was read back is not what was written")},
        {ExitCode::Interrupted, QStringLiteral("interrupted by SIGINT or SIGTERM")},
    };
}
