#include "BlockingDrain.h"

#include "TestAccess.h"

#include <QMutexLocker>

namespace {

bool hasNotifications(KVTServerMessageOldProxy *proxy)
{
    const QMutexLocker locker(&TestAccess::notifyMutex(*proxy));
    return !TestAccess::notifyList(*proxy).isEmpty();
}

} // namespace

BlockingDrain::BlockingDrain()
{
    start();
    m_done.acquire(); // with all that a thread makes for itself
}

BlockingDrain::~BlockingDrain()
{
    m_proxy = nullptr;
    m_begin.release();
    wait();
}

void BlockingDrain::drain(KVTServerMessageOldProxy *proxy)
{
    m_proxy = proxy;
    m_begin.release();
    while (hasNotifications(proxy))
        yieldCurrentThread();
    {
        // Stopped while it handles the last one, or waits, as Terminate stops it.
        const QMutexLocker locker(&TestAccess::notifyMutex(*proxy));
        TestAccess::notifyStop(*proxy) = true;
        TestAccess::notifyCondition(*proxy).wakeAll();
    }
    m_done.acquire();
    TestAccess::notifyStop(*proxy) = false;
}

void BlockingDrain::run()
{
    m_done.release();
    for (;;) {
        m_begin.acquire();
        if (m_proxy == nullptr)
            return;
        m_proxy->notifyThreadProc(false);
        m_done.release();
    }
}
