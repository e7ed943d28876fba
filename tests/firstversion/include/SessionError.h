#ifndef SESSIONERROR_H
#define SESSIONERROR_H

#include "TarnEnum.h"
#include "ksproxysession_export.h"

#include <QMetaType>
#include <QObject>
#include <QString>

#include <optional>

/// What went wrong: a plain value.
class KSPROXYSESSION_EXPORT SessionError
{
    Q_GADGET

public:
    /// The page on errors and log lines says what to do about each.
    enum class Code {
        None,
        InvalidArgument, ///< the call asks for something that cannot be
        WrongThread, ///< called from another thread than the object's
        NotReady, ///< the session is not in the state that the call needs
        NoServer, ///< no server takes connections, and none may be started
        ServerStartFailed, ///< the server program cannot be run
        StartTimedOut, ///< the server was started, or runs, but takes no connections
        RegistrationRejected, ///< the server does not want this client
        RegistrationFailed, ///< the server reported an error of the registration
        RegistrationTimedOut, ///< the server does not answer the registration
        ConnectionLost, ///< the server has gone, or has ended the registration
        SessionClosed, ///< `DeviceSession::close` ended it
        Aborted, ///< `abort` ended it
        TimedOut, ///< no reply came in time
        NoEquipment, ///< the server knows no equipment with that key
        DeviceRefused, ///< the server or the equipment refused
        DeviceTimedOut, ///< the equipment did not answer the server in time
        DeviceCancelled, ///< a cancel command ended it at the server
        BadReply, ///< the reply makes no sense
        VerificationFailed, ///< what was read back is not what was written
        OutOfMemory, ///< memory ran out for it
    };
    Q_ENUM(Code)

    SessionError() = default;
    /// Without a result of the device.
    SessionError(Code errorCode, const QString &sentence);

    /// Of a reply with that result; no error for `TarnEnum::Success`.
    static SessionError ofDevice(TarnEnum::CommResults result, const QString &key);

    /// Of `Code::OutOfMemory`; made without memory.
    static SessionError outOfMemory();

    /// Whether there is an error.
    explicit operator bool() const;

    Code code = Code::None; ///< what kind of error
    QString text; ///< a sentence that a person can act on; empty when there is no error
    std::optional<TarnEnum::CommResults> deviceResult; ///< where a reply carried one
};

Q_DECLARE_METATYPE(SessionError)

#endif
