#include "SessionError.h"

SessionError::SessionError(Code errorCode, const QString &sentence)
    : code(errorCode)
    , text(sentence)
{ }

SessionError SessionError::ofDevice(TarnEnum::CommResults result, const QString &key)
{
    SessionError error;
    switch (result) {
    case TarnEnum::Success:
        break;
    case TarnEnum::TimedOut:
        error = {Code::DeviceTimedOut,
                 QObject::tr("The equipment \"%1\" did not answer the server in time.").arg(key)};
        break;
    case TarnEnum::NoEquipment:
        error = {Code::NoEquipment, QObject::tr("The server knows no equipment \"%1\".").arg(key)};
        break;
    case TarnEnum::BadReply:
        error = {Code::BadReply, QObject::tr("The reply of \"%1\" cannot be read.").arg(key)};
        break;
    case TarnEnum::Cancelled:
        error = {Code::DeviceCancelled,
                 QObject::tr("The request to \"%1\" was cancelled at the server.").arg(key)};
        break;
    case TarnEnum::Rejected:
        error = {Code::DeviceRefused,
                 QObject::tr("The equipment \"%1\" refused the request: are address, length, port "
                             "and scan board within its range?")
                     .arg(key)};
        break;
    default:
        error = {Code::DeviceRefused,
                 QObject::tr("The equipment \"%1\" answered with result %2.")
                     .arg(key)
                     .arg(static_cast<int>(result))};
        break;
    }
    error.deviceResult = result;
    return error;
}

SessionError SessionError::outOfMemory()
{
    SessionError error;
    error.code = Code::OutOfMemory;
    error.text = QStringLiteral("Memory has run out.");
    return error;
}

SessionError::operator bool() const
{
    return code != Code::None;
}
