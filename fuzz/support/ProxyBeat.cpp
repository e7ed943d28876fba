#include "ProxyBeat.h"

#include "LivingObjects.h"
#include "NotifyStruct.h"
#include "PackageBase.h"
#include "TestAccess.h"

#include <QPointer>
#include <QVector>

namespace {

QVector<QPointer<KVTServerMessageOldProxy>> livingProxies()
{
    static QVector<QPointer<KVTServerMessageOldProxy>> proxies;
    const QVector<QObject *> objects = LivingObjects::takeNew();
    for (QObject *const object : objects) {
        if (auto *const proxy = qobject_cast<KVTServerMessageOldProxy *>(object))
            proxies.append(proxy);
    }
    proxies.removeAll(nullptr);
    return proxies;
}

QSet<QObject *> ownedByProxies()
{
    QSet<QObject *> owned;
    const auto proxies = livingProxies();
    for (const QPointer<KVTServerMessageOldProxy> &proxy : proxies) {
        owned.insert(reinterpret_cast<QObject *>(TestAccess::client(*proxy)));
        for (const auto *const queue :
             {&TestAccess::sendList(*proxy), &TestAccess::notifyList(*proxy)}) {
            for (NotifyStruct *const entry : *queue)
                owned.insert(entry);
        }
    }
    return owned;
}

bool isKept(QObject *object)
{
    return object->inherits("MsgSocketClient") || dynamic_cast<NotifyStruct *>(object) != nullptr
        || (dynamic_cast<PackageBase *>(object) != nullptr && object->parent() == nullptr);
}

} // namespace

void ProxyBeat::beat()
{
    const auto proxies = livingProxies();
    for (const QPointer<KVTServerMessageOldProxy> &proxy : proxies) {
        if (proxy)
            proxy->SendThreadFun(false);
        if (proxy)
            proxy->NotifyThreadFun(false);
    }
}

void ProxyBeat::releaseKeptObjects()
{
    const QSet<QObject *> owned = ownedByProxies();
    QVector<QPointer<QObject>> kept; // one may go with another
    const QSet<QObject *> objects = LivingObjects::madeHere();
    for (QObject *const object : objects) {
        if (isKept(object) && !owned.contains(object))
            kept.append(object);
    }
    for (const QPointer<QObject> &object : qAsConst(kept))
        delete object;
}
