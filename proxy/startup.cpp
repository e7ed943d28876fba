#include "KVTServerMessageOldProxy.h"

#include "KsProxyTools.h"
#include "Log.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QThread>

namespace {

const QString ServerProcessName = QStringLiteral("KVTServerMaster");
constexpr qint64 StartTimeoutMs = 60000;
constexpr int EventsPerPassMs = 10;
constexpr unsigned long SleepPerPassMs = 100;

} // namespace

bool KVTServerMessageOldProxy::startServer(const QString &path)
{
    Log::debug("KVTServerMessageOldProxy::startServer ");
    if (m_bConnected) {
        Log::debug("KVTServerMessageOldProxy server is already started!");
        return true;
    }
    QString serverPath = path;
    QElapsedTimer timer;
    timer.start();
    bool launched = false;
    const QPointer<KVTServerMessageOldProxy> self(this); // the events may take the proxy with them
    for (;;) {
        unsigned long long pid = 0;
        if (KsProxyTools::checkProcessRunning(ServerProcessName, pid)) {
            // Before any socket connection, on purpose: the next startServer need not look again.
            m_bConnected = true;
            return true;
        }
        if (!launched) {
            if (serverPath.isEmpty()) {
                serverPath = KsProxyTools::getDefaultServerPath();
                Log::critical(" [KVTServerMessageProxy] server path(from APP) is empty , default "
                              "link path: ",
                              serverPath);
            }
            launched = true;
            if (!execStartKVTServer(serverPath)) {
                // The words belong to the failed launch; a real time-out below says nothing.
                Log::info(" [KVTServerMessageProxy] server start timeout .");
                return false;
            }
        }
        if (timer.elapsed() > StartTimeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, EventsPerPassMs);
        if (!self)
            return false;
        QThread::msleep(SleepPerPassMs);
    }
}

bool KVTServerMessageOldProxy::execStartKVTServer(const QString &path)
{
    if (KsProxyTools::startProcess(path)) {
        Log::info(" [KVTServerMessageProxy] server start method was called ok!");
        return true;
    }
    Log::critical(" [KVTServerMessageProxy] execStartKVTServer error!  path : ", path);
    return false;
}

// The server serves other applications too: it is never stopped from here.
bool KVTServerMessageOldProxy::exitKVTServer()
{
    return true;
}

bool KVTServerMessageOldProxy::isServerProcessRunning()
{
    if (m_pMsgClient == nullptr)
        return false;
    Log::critical("KVTServerMessageOldProxy::isServerProcessRunning not support");
    return false;
}
