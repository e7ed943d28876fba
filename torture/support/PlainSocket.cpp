#include "PlainSocket.h"

#include <QDir>

#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int Backlog = 8;

sockaddr_un addressOf(const char *path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path, sizeof address.sun_path);
    return address;
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

} // namespace

int PlainSocket::listenAsServer()
{
    const QByteArray path = (QDir::tempPath() + QLatin1String("/tarnSver")).toLocal8Bit();
    unlink(path.constData());
    const sockaddr_un address = addressOf(path.constData());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (listener >= 0 && bind(listener, generic(&address), sizeof address) == 0
        && listen(listener, Backlog) == 0)
        return listener;
    close(listener);
    return -1;
}

int PlainSocket::keepOnly(int descriptor)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    constexpr int first = STDERR_FILENO + 1;
    dup2(descriptor, first);
    close_range(first + 1, ~0U, 0);
    return first;
}

int PlainSocket::connectTo(const char *path)
{
    const sockaddr_un address = addressOf(path);
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(connection, generic(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

bool PlainSocket::writeAll(int descriptor, const char *data, qint64 size)
{
    while (size > 0) {
        const ssize_t count = send(descriptor, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (count < 0)
            return false;
        data += count;
        size -= count;
    }
    return true;
}
