#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "MessageBody.h"
#include "MsgSocketClient.h"
#include "NotifyStruct.h"
#include "PackageBase.h"

#include <QMutexLocker>
#include <QPointer>
#include <QThread>

void KVTServerMessageOldProxy::SendThreadFun(bool deleteThread)
{
    Q_UNUSED(deleteThread)
    // The count is looked at without the lock: an append that is missed is seen by the next tick.
    if (m_bSendStop || m_pMsgClient == nullptr || m_sendCount == 0 || m_bSendStop)
        return;
    if (NotifyStruct *const entry = takeOutgoing())
        transmit(entry); // without memory the next tick tries again
}

void KVTServerMessageOldProxy::sendThreadProc(bool deleteThread)
{
    Q_UNUSED(deleteThread)
    const QPointer<KVTServerMessageOldProxy> self(this);
    while (self && !m_bSendStop && m_pMsgClient != nullptr) {
        NotifyStruct *const entry = waitForOutgoing();
        if (entry != nullptr && !transmit(entry))
            QThread::msleep(PauseMs);
    }
}

NotifyStruct *KVTServerMessageOldProxy::takeOutgoing()
{
    const QMutexLocker locker(&m_sendMutex);
    return takeFirstOutgoing();
}

NotifyStruct *KVTServerMessageOldProxy::waitForOutgoing()
{
    const QMutexLocker locker(&m_sendMutex);
    // The stop flag again: a stop that came before the lock was taken has woken nobody.
    if (m_sendList.isEmpty() && !m_bSendStop)
        m_sendCondition.wait(&m_sendMutex);
    return m_bSendStop ? nullptr : takeFirstOutgoing();
}

// With the lock held.
NotifyStruct *KVTServerMessageOldProxy::takeFirstOutgoing()
{
    if (m_sendList.isEmpty())
        return nullptr;
    NotifyStruct *const entry = m_sendList.takeFirst();
    m_sendCount = m_sendList.size();
    return entry;
}

// False when memory ran out before anything had happened: the entry stands in the queue again then.
bool KVTServerMessageOldProxy::transmit(NotifyStruct *entry)
{
    std::unique_ptr<NotifyStruct> owner(entry);
    PackageBase *const package = entry->packe();
    QByteArray body;
    const bool isPending = guarded([&] {
        // The entry's bytes are not sent: only the identifier and the text make the message.
        body = MessageBody::encode(entry->sendID(), entry->strinfo());
        // Before the write, so that no reply can come too early. A command adds its null as well:
        // one entry per message written, in the order of writing.
        const QMutexLocker locker(&m_requestMutex);
        m_requestList.append(package);
    });
    if (!isPending)
        returnOutgoing(owner.release());
    else if (guarded([&] { return deliver(body); }, Delivery::Failed) == Delivery::Failed)
        completeUnwritten(package);
    return isPending;
}

void KVTServerMessageOldProxy::returnOutgoing(NotifyStruct *entry)
{
    PackageBase *const package = entry->packe();
    const bool isQueued = guarded([&] {
        const QMutexLocker locker(&m_sendMutex);
        m_sendList.prepend(entry);
        m_sendCount = m_sendList.size();
    });
    if (isQueued)
        return;
    delete entry;
    completeAsFailed(package);
}

void KVTServerMessageOldProxy::completeUnwritten(PackageBase *package)
{
    {
        const QMutexLocker locker(&m_requestMutex);
        if (!m_requestList.removeOne(package))
            return; // taken by another thread meanwhile, who answers for it
    }
    completeAsFailed(package);
}

void KVTServerMessageOldProxy::completeAsFailed(PackageBase *package)
{
    if (package == nullptr)
        return;
    package->setCommResult(TarnEnum::WriteFailed);
    package->CompleteRequestEvent(this, package);
}

KVTServerMessageOldProxy::Delivery KVTServerMessageOldProxy::deliver(const QByteArray &body)
{
    if (QThread::currentThread() != thread())
        return deliverThroughOwnThread(body);
    return m_pMsgClient->SendData(body) ? Delivery::Written : Delivery::Failed;
}

// For the blocking loop on a thread of its own: the socket is touched by the proxy's thread only.
// A stop ends the wait and withdraws the message; Terminate, who stopped it, deletes the request.
KVTServerMessageOldProxy::Delivery
KVTServerMessageOldProxy::deliverThroughOwnThread(const QByteArray &body)
{
    struct Handover
    {
        bool withdrawn = false;
        Delivery delivery = Delivery::Stopped;
    };
    const auto handover = std::make_shared<Handover>();
    QMetaObject::invokeMethod(
        this,
        [this, body, handover] {
            QMutexLocker locker(&m_sendMutex);
            if (handover->withdrawn)
                return;
            locker.unlock();
            const Delivery delivery = deliver(body);
            locker.relock();
            handover->delivery = delivery;
            m_sendCondition.wakeAll();
        },
        Qt::QueuedConnection);
    const QMutexLocker locker(&m_sendMutex);
    while (handover->delivery == Delivery::Stopped && !m_bSendStop)
        m_sendCondition.wait(&m_sendMutex);
    handover->withdrawn = true;
    return handover->delivery;
}
