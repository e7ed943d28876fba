#ifndef TESTPROXY_H
#define TESTPROXY_H

#include "KVTServerMessageOldProxy.h"
#include "MsgSocketClient.h"
#include "NotifyStruct.h"
#include "TestAccess.h"

#include <QList>

#include <memory>

/// What stands in a send queue, as values that can be compared.
struct Outgoing
{
    int id;
    QString text;
    QByteArray bytes;
    PackageBase *package;

    bool operator==(const Outgoing &other) const
    {
        return id == other.id && text == other.text && bytes == other.bytes
            && package == other.package;
    }
};

/// A proxy for one test. It takes the socket client, which the proxy leaves behind, away with it,
/// so that the next test finds no connection of this one.
class TestProxy
{
public:
    TestProxy() = default;
    ~TestProxy()
    {
        destroy();
    }

    KVTServerMessageOldProxy *operator->() const
    {
        return m_proxy.get();
    }
    KVTServerMessageOldProxy &operator*() const
    {
        return *m_proxy;
    }

    /// Makes the socket client, without workers, and connects it; a test then runs the loops.
    bool connectServer() const
    {
        m_proxy->creatMsgClient();
        return TestAccess::client(*m_proxy)->connectServer();
    }

    /// Destroys the proxy, then its socket client.
    void destroy()
    {
        if (!m_proxy)
            return;
        const std::unique_ptr<MsgSocketClient> client(TestAccess::client(*m_proxy));
        m_proxy.reset();
    }

    /// Forgets the proxy, which something else has destroyed.
    void forget()
    {
        static_cast<void>(m_proxy.release());
    }

    QList<Outgoing> sendQueue() const
    {
        QList<Outgoing> queue;
        for (NotifyStruct *const entry : qAsConst(TestAccess::sendList(*m_proxy)))
            queue.append(
                {entry->sendID(), entry->strinfo(), entry->getByteArrayInfo(), entry->packe()});
        return queue;
    }

private:
    Q_DISABLE_COPY_MOVE(TestProxy)

    std::unique_ptr<KVTServerMessageOldProxy> m_proxy
        = std::make_unique<KVTServerMessageOldProxy>();
};

#endif
