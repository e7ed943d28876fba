#ifndef ZEROMQ_H
#define ZEROMQ_H

#include "Receiver.h"

/// A pair of ZeroMQ sockets over its ipc transport. It has no event loop: it waits in the call that
/// receives.
class ZeroMq : public Receiver
{
    Q_OBJECT

public:
    ZeroMq();
    ~ZeroMq() override;

    bool open() override;

protected:
    void send(const Order &order) override;
    void wait() override;

private:
    void *const m_context;
    void *const m_socket;
};

#endif
