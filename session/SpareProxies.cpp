#include "SpareProxies.h"

#include "KVTServerMessageOldProxy.h"
#include "Later.h"

#include <QCoreApplication>
#include <QList>
#include <QPointer>
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

QList<QPointer<KVTServerMessageOldProxy>> &used()
{
    static QList<QPointer<KVTServerMessageOldProxy>> list;
    return list;
}

// When the application object goes, and before the event dispatcher does that the workers wake.
void stopAll()
{
    const auto inUse = std::exchange(used(), {});
    for (const QPointer<KVTServerMessageOldProxy> &proxy : inUse) {
        if (proxy)
            proxy->Terminate();
    }
    const QList<Spare> all = std::exchange(spares(), {});
    for (const Spare &spare : all)
        delete spare.proxy;
}

void stopAllInTime()
{
    qRemovePostRoutine(stopAll);
    qAddPostRoutine(stopAll);
}

KVTServerMessageOldProxy *use(KVTServerMessageOldProxy *proxy)
{
    used().removeAll(nullptr);
    used().append(proxy);
    stopAllInTime();
    return proxy;
}

// What the server goes on sending waits for a proxy that takes nothing; it is thrown away now and
// then.
std::shared_ptr<QTimer> startTidying(KVTServerMessageOldProxy *proxy)
{
    auto timer = std::make_shared<QTimer>();
    QObject::connect(timer.get(), &QTimer::timeout, proxy, &KVTServerMessageOldProxy::Terminate);
    Later::start(timer.get(), TidyIntervalMs);
    return timer;
}

void keepUnused(KVTServerMessageOldProxy *proxy)
{
    used().removeAll(proxy);
    stopAllInTime();
    spares().append({proxy, startTidying(proxy)});
}

} // namespace

KVTServerMessageOldProxy *SpareProxies::take()
{
    if (!isApplicationThread() || spares().isEmpty())
        return nullptr;
    KVTServerMessageOldProxy *const proxy = use(spares().constLast().proxy);
    spares().removeLast();
    proxy->Terminate(); // what has come since it was last tidied is none of the next session's
                        // affair
    return proxy;
}

KVTServerMessageOldProxy *SpareProxies::makeNew()
{
    auto proxy = std::make_unique<KVTServerMessageOldProxy>();
    if (isApplicationThread())
        use(proxy.get());
    return proxy.release();
}

void SpareProxies::keep(KVTServerMessageOldProxy *proxy)
{
    proxy->UnRegister();
    proxy->Terminate();
    if (!isApplicationThread() || !guarded([proxy] { keepUnused(proxy); }))
        delete proxy;
}
