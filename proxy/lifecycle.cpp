#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "MsgSocketClient.h"
#include "MsgThread.h"
#include "NotifyStruct.h"
#include "PackageBase.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QPointer>
#include <QVector>

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr int WorkerIntervalMs = 10;
constexpr unsigned long WorkerStopTimeoutMs = 100;
constexpr unsigned long RegisterPassMs = 50;
constexpr int RegisterPasses = 100;
constexpr int ErrorCode = 4000;

QVector<QPointer<PackageBase>> pointersTo(const QList<PackageBase *> &packages)
{
    QVector<QPointer<PackageBase>> pointers;
    pointers.reserve(packages.size());
    for (PackageBase *const package : packages)
        pointers.append(package);
    return pointers;
}

} // namespace

KVTServerMessageOldProxy::KVTServerMessageOldProxy()
{
    Log::debug("KVTServerMessageOldProxy m_binit", m_binit.load());
}

KVTServerMessageOldProxy::~KVTServerMessageOldProxy()
{
    KVTServerMessageOldProxy::Terminate();
    // It stays, as does its connection, and nobody can ever ask it for anything.
    if (m_pMsgClient != nullptr)
        m_pMsgClient->abandon();
}

void KVTServerMessageOldProxy::Initalize()
{
    if (m_binit) {
        Log::debug("KVTServerMessageOldProxy::Initalize has init!");
        return;
    }
    if (guarded([this] { initialise(); }))
        return;
    // Without a client, so that Register says no; a next call starts afresh.
    stopWorkers();
    m_binit = false;
    delete std::exchange(m_pMsgClient, nullptr);
    m_bConnected = false;
    setRegisted(false);
}

void KVTServerMessageOldProxy::initialise()
{
    m_binit = true;
    if (m_pMsgClient == nullptr)
        m_pMsgClient = newClient().release();
    m_bNotifyStop = false;
    startWorker(&m_pNotifyThread, SLOT(NotifyThreadFun(bool)));
    m_bSendStop = false;
    startWorker(&m_pSendThread, SLOT(SendThreadFun(bool)));
    m_nIdleCount = 0;
}

void KVTServerMessageOldProxy::creatMsgClient()
{
    if (m_pMsgClient == nullptr)
        guarded([this] { m_pMsgClient = newClient().release(); });
}

std::unique_ptr<MsgSocketClient> KVTServerMessageOldProxy::newClient()
{
    auto client = std::make_unique<MsgSocketClient>();
    connect(client.get(), SIGNAL(receivedInfos(QByteArray)), this,
            SLOT(OnReceiveMessage(QByteArray)), Qt::AutoConnection);
    return client;
}

// The workers only tick: through the queued connection every pass of a loop runs on this thread.
void KVTServerMessageOldProxy::startWorker(MsgThread **worker, const char *loop)
{
    if (*worker == nullptr) {
        auto thread = std::make_unique<MsgThread>(WorkerIntervalMs, nullptr);
        connect(thread.get(), SIGNAL(doInfo(bool)), this, loop, Qt::QueuedConnection);
        *worker = thread.release();
    }
    if (!(*worker)->isRunning())
        (*worker)->start(QThread::InheritPriority);
    if (!(*worker)->isRunning()) // Qt only warns of a thread for which there is no memory
        throw std::bad_alloc();
}

bool KVTServerMessageOldProxy::Register(const QString &name, QString *serverVersion,
                                        const QString &version)
{
    Q_UNUSED(name)
    Q_UNUSED(version)
    if (m_pMsgClient == nullptr)
        return false;
    if (!m_pMsgClient->connectServer()) {
        m_bConnected = false;
        setRegisted(false);
        return false;
    }
    m_bConnected = true;
    // Before anything is sent, on purpose: commands may be queued at once, and the wait below ends
    // after its first pass unless the server has refused by then.
    setRegisted(true);
    if (!SendCommand(TarnEnum::RegisterClient, QLatin1String(""))) {
        setRegisted(false);
        return false;
    }
    const QPointer<KVTServerMessageOldProxy> self(this); // the events may take the proxy with them
    for (int pass = 1; pass <= RegisterPasses; ++pass) {
        QCoreApplication::processEvents();
        if (!self)
            return false;
        QThread::msleep(RegisterPassMs);
        if (isRegisted())
            break;
    }
    if (serverVersion != nullptr)
        *serverVersion = m_strServerVer;
    return isRegisted();
}

bool KVTServerMessageOldProxy::UnRegister()
{
    if (!isRegisted())
        return true;
    if (m_pMsgClient == nullptr)
        return false;
    setRegisted(false);
    clearEquipmentTable();
    m_bConnected = false;
    return true;
}

void KVTServerMessageOldProxy::Terminate()
{
    stopWorkers();
    deletePendingRequests();
    deleteQueue(&m_notifyList, &m_notifyMutex, &m_notifyCount);
    deleteQueue(&m_sendList, &m_sendMutex, &m_sendCount);
    clearEquipmentTable();
    m_binit = false;
}

void KVTServerMessageOldProxy::stopWorkers()
{
    m_bNotifyStop = true;
    m_bSendStop = true;
    stopWorker(&m_pNotifyThread, &m_notifyMutex, &m_notifyCondition);
    stopWorker(&m_pSendThread, &m_sendMutex, &m_sendCondition);
}

// The condition is woken without a worker too: a blocking loop may wait on it.
void KVTServerMessageOldProxy::stopWorker(MsgThread **worker, QMutex *mutex,
                                          QWaitCondition *condition)
{
    MsgThread *const thread = std::exchange(*worker, nullptr);
    if (thread != nullptr)
        thread->setStop(true);
    {
        const QMutexLocker locker(mutex);
        condition->wakeAll();
        if (thread != nullptr)
            thread->wait(WorkerStopTimeoutMs);
    }
    if (thread == nullptr)
        return;
    thread->exit(0);
    // Connected before the state is asked for: a worker that is still running is released when it
    // ends, and never while it runs, which would abort the process.
    guarded([thread] { connect(thread, &QThread::finished, thread, &QObject::deleteLater); });
    if (!thread->isRunning() && !guarded([thread] { thread->deleteLater(); }))
        delete thread;
}

// The requests are the application's, yet they are deleted and never completed: after Terminate
// nobody could tell it what became of them.
void KVTServerMessageOldProxy::deletePendingRequests()
{
    const QMutexLocker locker(&m_requestMutex);
    if (m_requestList.isEmpty())
        return; // to walk it would need memory
    // Guarded, since a package may stand here twice, or be deleted with one that is its parent.
    // Without memory for that they all stay pending.
    QVector<QPointer<PackageBase>> requests;
    if (!guardedTwice([&] { requests = pointersTo(m_requestList); }))
        return;
    std::fill(m_requestList.begin(), m_requestList.end(), nullptr);
    for (const QPointer<PackageBase> &request : qAsConst(requests))
        delete request;
    m_requestList.clear();
}

void KVTServerMessageOldProxy::deleteQueue(QList<NotifyStruct *> *queue, QMutex *mutex,
                                           std::atomic<int> *count)
{
    const QMutexLocker locker(mutex);
    for (int i = 0; i < queue->size(); ++i)
        delete std::exchange((*queue)[i], nullptr);
    queue->clear();
    *count = 0;
}

bool KVTServerMessageOldProxy::isConnectedServer()
{
    return m_bConnected;
}

QString KVTServerMessageOldProxy::ServerVer() const
{
    return m_strServerVer;
}

TarnEnum::PackageType KVTServerMessageOldProxy::packageType() const
{
    return m_packageType;
}

void KVTServerMessageOldProxy::setPackageType(const TarnEnum::PackageType &type)
{
    m_packageType = type;
}

int KVTServerMessageOldProxy::getErrorCode()
{
    return ErrorCode;
}

void KVTServerMessageOldProxy::initHandle() { }

void KVTServerMessageOldProxy::CheckServerRestart() { }
