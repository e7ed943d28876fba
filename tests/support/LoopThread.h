#ifndef LOOPTHREAD_H
#define LOOPTHREAD_H

#include "KVTServerMessageOldProxy.h"
#include "Waiting.h"

#include <QThread>

#include <memory>

/// Runs one of a proxy's blocking loops on a thread of its own. Terminates the proxy when it goes,
/// so that a test which fails halfway ends too.
class LoopThread
{
public:
    using Loop = void (KVTServerMessageOldProxy::*)(bool);

    LoopThread(KVTServerMessageOldProxy *proxy, Loop loop)
        : m_proxy(proxy)
        , m_thread(QThread::create([proxy, loop] { (proxy->*loop)(false); }))
    {
        m_thread->start();
    }
    ~LoopThread()
    {
        m_proxy->Terminate();
        m_thread->wait();
    }

    QThread *thread() const
    {
        return m_thread.get();
    }
    /// Whether the loop has returned or does so in time.
    bool wait() const
    {
        return m_thread->wait(WaitLimitMs);
    }

private:
    Q_DISABLE_COPY_MOVE(LoopThread)

    KVTServerMessageOldProxy *const m_proxy;
    const std::unique_ptr<QThread> m_thread;
};

#endif
