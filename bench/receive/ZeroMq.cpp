#include "ZeroMq.h"

#include <QDir>

#include <zmq.h>

namespace {

constexpr int LimitMs = 60000;

} // namespace

ZeroMq::ZeroMq()
    : m_context(zmq_ctx_new())
    , m_socket(zmq_socket(m_context, ZMQ_PAIR))
{ }

ZeroMq::~ZeroMq()
{
    zmq_close(m_socket);
    zmq_ctx_term(m_context);
}

bool ZeroMq::open()
{
    const int lingerMs = 0;
    zmq_setsockopt(m_socket, ZMQ_LINGER, &lingerMs, sizeof lingerMs);
    zmq_setsockopt(m_socket, ZMQ_RCVTIMEO, &LimitMs, sizeof LimitMs);
    const QString address = QStringLiteral("ipc://%1/benchzmq").arg(QDir::tempPath());
    return zmq_connect(m_socket, address.toLocal8Bit().constData()) == 0;
}

void ZeroMq::send(const Order &order)
{
    zmq_send(m_socket, &order, sizeof order, 0);
}

void ZeroMq::wait()
{
    zmq_msg_t message;
    zmq_msg_init(&message);
    while (!isDone() && zmq_msg_recv(&message, m_socket, 0) > 0) {
        const auto *const data = static_cast<const char *>(zmq_msg_data(&message));
        const auto size = static_cast<int>(zmq_msg_size(&message));
        count(data[0], data[size - 1], size);
    }
    zmq_msg_close(&message);
}
