// Writes frames to whoever connects to the local socket "tarnSver" and orders some: as fast as the
// socket takes them, 64 KiB or one frame at a time. An order is the payload of a frame.
#include "Order.h"

#include <QDir>
#include <QFile>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

constexpr int LengthBytes = 4;

int listenOn(const QByteArray &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0
        || ::listen(listener, 5) != 0)
        return -1;
    return listener;
}

bool readAll(int socket, char *data, size_t size)
{
    while (size > 0) {
        const ssize_t got = ::read(socket, data, size);
        if (got <= 0)
            return false;
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

bool writeAll(int socket, const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t put = ::send(socket, data, size, MSG_NOSIGNAL);
        if (put <= 0)
            return false;
        data += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

QByteArray frame(const QByteArray &body)
{
    const auto length = static_cast<quint32>(body.size());
    QByteArray all;
    for (int i = 0; i < LengthBytes; ++i)
        all += static_cast<char>(length >> (8 * i));
    return all + body;
}

bool carryOut(int socket)
{
    char bytes[LengthBytes + sizeof(Order)];
    if (!readAll(socket, bytes, sizeof bytes))
        return false;
    const Order order = Order::read(bytes + LengthBytes);
    const QByteArray one = frame(order.body());
    const QByteArray batch = one.repeated(order.batch());
    for (int left = order.count; left > 0; left -= order.batch()) {
        const int size = one.size() * qMin(left, order.batch());
        if (!writeAll(socket, batch.constData(), static_cast<size_t>(size)))
            return false;
    }
    return true;
}

} // namespace

int main()
{
    const QString path = QDir::tempPath() + QLatin1String("/tarnSver");
    const int listener = listenOn(QFile::encodeName(path));
    if (listener < 0) {
        std::perror("bench_peer_frames");
        return 1;
    }
    std::printf("listening %s\n", qPrintable(path));
    std::fflush(stdout);
    std::vector<pollfd> ends{{listener, POLLIN, 0}};
    while (::poll(ends.data(), ends.size(), -1) > 0) {
        for (size_t i = ends.size(); i-- > 1;) {
            if (ends[i].revents != 0 && !carryOut(ends[i].fd)) {
                ::close(ends[i].fd);
                ends.erase(ends.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (ends.front().revents != 0)
            ends.push_back({::accept(listener, nullptr, nullptr), POLLIN, 0});
    }
    return 0;
}
