#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "NotifyStruct.h"
#include "PackageBase.h"
#include "PackageText.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QPointer>
#include <QThread>

void KVTServerMessageOldProxy::NotifyThreadFun(bool deleteThread)
{
    Q_UNUSED(deleteThread)
    // A handler may delete the proxy, against the rules; the drain must not go on with it then.
    const QPointer<KVTServerMessageOldProxy> self(this);
    // The count is looked at without the lock: an append that is missed is seen by the next tick.
    while (self && m_notifyCount > 0) {
        if (m_bNotifyStop)
            return;
        NotifyStruct *const item = takeNotification();
        if (item != nullptr && !handleNotification(item))
            return; // the next tick tries again
    }
}

void KVTServerMessageOldProxy::notifyThreadProc(bool deleteThread)
{
    Q_UNUSED(deleteThread)
    const QPointer<KVTServerMessageOldProxy> self(this);
    while (self && !m_bNotifyStop) {
        NotifyStruct *const item = waitForNotification();
        if (item != nullptr && !handleNotification(item))
            QThread::msleep(PauseMs);
        // This thread has no event loop that would release the replies.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

NotifyStruct *KVTServerMessageOldProxy::takeNotification()
{
    const QMutexLocker locker(&m_notifyMutex);
    return takeFirstNotification();
}

NotifyStruct *KVTServerMessageOldProxy::waitForNotification()
{
    const QMutexLocker locker(&m_notifyMutex);
    // The stop flag again: a stop that came before the lock was taken has woken nobody.
    if (m_notifyList.isEmpty() && !m_bNotifyStop)
        m_notifyCondition.wait(&m_notifyMutex);
    return takeFirstNotification();
}

// With the lock held.
NotifyStruct *KVTServerMessageOldProxy::takeFirstNotification()
{
    if (m_notifyList.isEmpty() || m_bNotifyStop)
        return nullptr;
    NotifyStruct *const item = m_notifyList.takeFirst();
    m_notifyCount = m_notifyList.size();
    return item;
}

// False when memory runs out: the item stands in the queue again then.
bool KVTServerMessageOldProxy::handleNotification(NotifyStruct *item)
{
    std::unique_ptr<NotifyStruct> owner(item);
    bool isHandled = true;
    bool isRaised = false;
    switch (item->notify()) {
    case TarnEnum::ReplyReadData:
    case TarnEnum::ReplyReadFile:
    case TarnEnum::ReplyReadMemData:
    case TarnEnum::ReplyWriteData:
    case TarnEnum::ReplyWriteFile:
    case TarnEnum::ReplyWriteMemData:
        isHandled = completeRequest(*item);
        break;
    case TarnEnum::BroadcastReply:
        // One that is not raised is dropped without being deleted: the entry stays valid for
        // whoever holds on to it.
        isHandled = guarded([&] { isRaised = raiseBroadcast(*item); });
        if (isHandled && !isRaised)
            static_cast<void>(owner.release());
        break;
    default:
        break;
    }
    if (!isHandled)
        returnNotification(owner.release());
    return isHandled;
}

void KVTServerMessageOldProxy::returnNotification(NotifyStruct *item)
{
    const bool isQueued = guarded([&] {
        const QMutexLocker locker(&m_notifyMutex);
        m_notifyList.prepend(item);
        m_notifyCount = m_notifyList.size();
    });
    if (!isQueued)
        delete item;
}

// False when memory runs out before anything has happened.
bool KVTServerMessageOldProxy::completeRequest(const NotifyStruct &item)
{
    if (m_packageType == TarnEnum::ByteArrayPackage) {
        // Only logs that this is not supported; the request stays pending.
        ParseCompleteRequest(item.getByteArrayInfo(), item.notify());
        return true;
    }
    QPointer<PackageBase> reply;
    QPointer<PackageBase> request;
    const bool isParsed = guarded([&] {
        auto parsed = PackageText::read(item.strinfo(), item.notify());
        reply = parsed.get();
        request = takeAnsweredRequest(parsed->getSerialNum());
        static_cast<void>(parsed.release());
    });
    if (!isParsed)
        return false;
    if (!request)
        return true; // nobody waits; the reply is not released
    if (m_packageType == TarnEnum::ByteArrayPackage)
        FillReplyDataToPackage(reply, request);
    try {
        reply->setUserToken(request->getUserToken());
        request->CompleteRequestEvent(this, reply);
    } catch (const QString &) {
        // A handler may give up with a text; the other replies are still delivered.
    }
    PackageBase::clear(request);
    return true;
}

// From the end, where the newest are. Without a match it is the oldest request that is answered:
// a server that sends back no usable number still gets its replies through, in order.
QPointer<PackageBase> KVTServerMessageOldProxy::takeAnsweredRequest(quint64 serialNum)
{
    const QMutexLocker locker(&m_requestMutex);
    PackageBase *request = nullptr;
    for (int i = m_requestList.size() - 1; i >= 0; --i) {
        request = m_requestList.at(i);
        if (request != nullptr && request->getSerialNum() == serialNum)
            break;
    }
    QPointer<PackageBase> taken(request); // first: it may need memory
    m_requestList.removeOne(request);
    return taken;
}

bool KVTServerMessageOldProxy::raiseBroadcast(const NotifyStruct &item)
{
    const QString text = item.strinfo();
    const QByteArray bytes = item.getByteArrayInfo();
    const int textComma = text.lastIndexOf(QLatin1Char(','));
    const int bytesComma = bytes.lastIndexOf(',');
    if (textComma < 0 && bytesComma < 0)
        return false;
    if (m_packageType == TarnEnum::ByteArrayPackage) {
        const int type = QString::fromLatin1(bytes.mid(bytesComma + 1).constData()).toInt();
        // Only logs that this is not supported.
        ParseCompleteRequest(bytes.mid(0, bytesComma), static_cast<TarnEnum::NotifyTypes>(type));
        return false;
    }
    const int type = text.mid(textComma + 1).toInt();
    auto parsed
        = PackageText::read(text.mid(0, textComma), static_cast<TarnEnum::NotifyTypes>(type));
    const QPointer<PackageBase> reply(parsed.get());
    static_cast<void>(parsed.release());
    CompletePackageRequestEventArgs args;
    args.setRequest(reply);
    guarded([&] { Q_EMIT CallBackBroadcastRecvedReplyEvent(this, args); });
    // A slot may have deleted it, against the rules.
    if (reply && !guarded([&] { reply->deleteLater(); }))
        delete reply;
    return true;
}
