#ifndef EXITCODE_H
#define EXITCODE_H

#include "SessionError.h"

#include <QVector>

/// What the program's exit code says: one for each class of failure.
enum class ExitCode {
    Done = 0,
    Failed = 1,
    Usage = 2,
    NoServer = 3,
    RegistrationRefused = 4,
    NoEquipment = 5,
    DeviceRefused = 6,
    TimedOut = 7,
    ConnectionLost = 8,
    VerificationFailed = 9,
    Interrupted = 130,
};

/// The code for a session's error.
ExitCode exitCodeOf(SessionError::Code code);

/// A code and what it means, for the help.
struct ExitCodeMeaning
{
    ExitCode code;
    QString meaning;
};

/// All of them, in ascending order.
QVector<ExitCodeMeaning> exitCodeMeanings();

#endif
