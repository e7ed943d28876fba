#include "OwnThread.h"

#include "Guarded.h"
#include "SessionLog.h"

#include <QObject>
#include <QThread>

bool OwnThread::isCallers(const QObject *object, const char *operation)
{
    if (QThread::currentThread() == object->thread())
        return true;
    SessionLog::warning(operation, "refused: called from another thread than the object's");
    return false;
}

SessionError OwnThread::error()
{
    return guarded(
        [] {
            return SessionError(
                SessionError::Code::WrongThread,
                QObject::tr("The session was called from another thread than its own."));
        },
        SessionError::outOfMemory());
}
