#ifndef TESTACCESS_H
#define TESTACCESS_H

#include "KVTServerMessageOldProxy.h"
#include "MsgSocketClient.h"
#include "NotifyStruct.h"
#include "PackageBase.h"

/// What tests see of the inside of the proxy and its socket client.
class TestAccess
{
public:
    using Proxy = KVTServerMessageOldProxy;

    // As the library itself queues them.
    static void appendOutgoing(Proxy &proxy, NotifyStruct *entry)
    {
        proxy.enqueueOutgoing(std::unique_ptr<NotifyStruct>(entry));
    }
    static void appendNotification(Proxy &proxy, NotifyStruct *item)
    {
        proxy.enqueueNotification(std::unique_ptr<NotifyStruct>(item));
    }

    static NotifyStruct *takeNotification(Proxy &proxy)
    {
        return proxy.takeNotification();
    }
    static void appendPending(Proxy &proxy, PackageBase *request)
    {
        const QMutexLocker locker(&proxy.m_requestMutex);
        proxy.m_requestList.append(request);
    }
    // As the notify loop takes it.
    static PackageBase *takeAnsweredRequest(Proxy &proxy, quint64 serialNum)
    {
        return proxy.takeAnsweredRequest(serialNum).data();
    }

    static QList<NotifyStruct *> &sendList(Proxy &proxy)
    {
        return proxy.m_sendList;
    }
    static QList<NotifyStruct *> &notifyList(Proxy &proxy)
    {
        return proxy.m_notifyList;
    }
    static QList<PackageBase *> &requestList(Proxy &proxy)
    {
        return proxy.m_requestList;
    }
    static QMutex &sendMutex(Proxy &proxy)
    {
        return proxy.m_sendMutex;
    }
    static QMutex &notifyMutex(Proxy &proxy)
    {
        return proxy.m_notifyMutex;
    }
    static QMutex &requestMutex(Proxy &proxy)
    {
        return proxy.m_requestMutex;
    }
    static std::atomic<bool> &sendStop(Proxy &proxy)
    {
        return proxy.m_bSendStop;
    }
    static std::atomic<bool> &notifyStop(Proxy &proxy)
    {
        return proxy.m_bNotifyStop;
    }
    static std::atomic<bool> &isInitialised(Proxy &proxy)
    {
        return proxy.m_binit;
    }
    static bool &isConnected(Proxy &proxy)
    {
        return proxy.m_bConnected;
    }
    static qint32 &idleCount(Proxy &proxy)
    {
        return proxy.m_nIdleCount;
    }
    static QString &serverVersion(Proxy &proxy)
    {
        return proxy.m_strServerVer;
    }
    static MsgThread *&sendThread(Proxy &proxy)
    {
        return proxy.m_pSendThread;
    }
    static MsgThread *&notifyThread(Proxy &proxy)
    {
        return proxy.m_pNotifyThread;
    }
    static MsgSocketClient *&client(Proxy &proxy)
    {
        return proxy.m_pMsgClient;
    }
    static QWaitCondition &sendCondition(Proxy &proxy)
    {
        return proxy.m_sendCondition;
    }
    static QWaitCondition &notifyCondition(Proxy &proxy)
    {
        return proxy.m_notifyCondition;
    }
    static TarnEnum::PackageType &packageType(Proxy &proxy)
    {
        return proxy.m_packageType;
    }
    static bool &reserved(Proxy &proxy)
    {
        return proxy.m_bReserved;
    }

    static FrameReader &reader(MsgSocketClient &client)
    {
        return client.m_reader;
    }
    static QLocalSocket *&socket(MsgSocketClient &client)
    {
        return client.m_socket;
    }
};

#endif
