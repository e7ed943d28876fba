#ifndef WATCHEDSOCKET_H
#define WATCHEDSOCKET_H

#include "TestAccess.h"
#include "Waiting.h"

#include <QLocalSocket>

#include <functional>
#include <utility>

/// A connected socket that tells when it is written to, and refuses the bytes if told so.
class WatchedSocket : public QLocalSocket
{
public:
    /// Has \a proxy write through a socket of this class that is connected to the test's peer; null
    /// when there is no peer. The socket belongs to the proxy's socket client.
    static WatchedSocket *install(KVTServerMessageOldProxy *proxy)
    {
        proxy->creatMsgClient();
        auto *const socket = new WatchedSocket;
        socket->connectToServer(QStringLiteral("tarnSver"));
        delete std::exchange(TestAccess::socket(*TestAccess::client(*proxy)), socket);
        return socket->waitForConnected(WaitLimitMs) ? socket : nullptr;
    }

    std::function<void()> onWrite;
    bool refuses = false;

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        if (onWrite)
            onWrite();
        return refuses ? -1 : QLocalSocket::writeData(data, size);
    }
};

#endif
