// Sends bodies through a pair of ZeroMQ sockets over its ipc transport, which gathers them itself.
#include "Order.h"

#include <QDir>

#include <zmq.h>

#include <cstdio>

int main()
{
    void *const context = zmq_ctx_new();
    void *const socket = zmq_socket(context, ZMQ_PAIR);
    const QString address = QStringLiteral("ipc://%1/benchzmq").arg(QDir::tempPath());
    if (zmq_bind(socket, address.toLocal8Bit().constData()) != 0) {
        std::fprintf(stderr, "bench_peer_zeromq: %s\n", zmq_strerror(zmq_errno()));
        return 1;
    }
    std::puts("listening");
    std::fflush(stdout);
    char bytes[sizeof(Order)];
    while (zmq_recv(socket, bytes, sizeof bytes, 0) == int(sizeof bytes)) {
        const Order order = Order::read(bytes);
        const QByteArray body = order.body();
        for (int i = 0; i < order.count; ++i)
            zmq_send(socket, body.constData(), static_cast<size_t>(body.size()), 0);
    }
    zmq_close(socket);
    zmq_ctx_term(context);
    return 0;
}
