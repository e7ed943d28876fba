#include "SessionLog.h"

#include <QObject>
#include <QThread>

Q_LOGGING_CATEGORY(sessionLog, "ksproxy.session", QtWarningMsg)

bool isOnOwnThread(const QObject *object, const char *operation)
{
    if (QThread::currentThread() == object->thread())
        return true;
    qCWarning(sessionLog, "%s refused: called from another thread than the object's", operation);
    return false;
}
