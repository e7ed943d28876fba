#include "SpareProxies.h"

#include "KVTServerMessageOldProxy.h"

#include <QCoreApplication>
#include <QList>
#include <QThread>
#include <QTimer>

#include <memory>
#include <utility>

namespace {

constexpr int TidyIntervalMs = 5000;

// Of the application's thread only.
struct Spare
{
    KVTServerMessageOldProxy *proxy;
    std::shared_ptr<QTimer> tidying;
};

QList<Spare> &spares()
{
    static QList<Spare> list;
    return list;
}

bool isApplicationThread()
{
    return qApp != nullptr && QThread::currentThread() == qApp->thread();
}

void deleteAll()
{
    const QList<Spare> all = std::exchange(spares(), {});
    for (const Spare &spare : all)
        delete spare.proxy;
}

// What the server goes on sending waits for a proxy that takes nothing; it is thrown away now and
// then.
std::shared_ptr<QTimer> startTidying(KVTServerMessageOldProxy *proxy)
{
    auto timer = std::make_shared<QTimer>();
    QObject::connect(timer.get(), &QTimer::timeout, proxy, &KVTServerMessageOldProxy::Terminate);
    timer->start(TidyIntervalMs);
    return timer;
}

} // namespace

KVTServerMessageOldProxy *SpareProxies::take()
{
    if (!isApplicationThread() || spares().isEmpty())
        return nullptr;
    KVTServerMessageOldProxy *const proxy = spares().takeLast().proxy;
    proxy->Terminate(); // what has come since it was last tidied is none of the next session's
                        // affair
    return proxy;
}

void SpareProxies::keep(KVTServerMessageOldProxy *proxy)
{
    proxy->UnRegister();
    proxy->Terminate();
    if (!isApplicationThread()) {
        delete proxy;
        return;
    }
    qRemovePostRoutine(deleteAll);
    qAddPostRoutine(deleteAll);
    spares().append({proxy, startTidying(proxy)});
}
