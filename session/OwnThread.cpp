#include "OwnThread.h"

#include "SessionLog.h"

#include <QObject>
#include <QThread>

bool OwnThread::isCallers(const QObject *object, const char *operation)
{
    if (QThread::currentThread() == object->thread())
        return true;
    qCWarning(sessionLog, "%s refused: called from another thread than the object's", operation);
    return false;
}

SessionError OwnThread::error()
{
    return {SessionError::Code::WrongThread,
            QObject::tr("The session was called from another thread than its own.")};
}
