#include "Receiver.h"

#include <QElapsedTimer>
#include <QTimer>

namespace {

constexpr int LimitMs = 60000;

} // namespace

Receiver::~Receiver() = default;

double Receiver::receive(const Order &newOrder)
{
    m_order = newOrder;
    m_bodies = 0;
    m_isGood = true;
    QElapsedTimer timer;
    timer.start();
    send(m_order);
    wait();
    const auto elapsed = static_cast<double>(timer.nsecsElapsed());
    return m_isGood && isDone() ? elapsed / m_order.count : -1;
}

void Receiver::wait()
{
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &m_loop, &QEventLoop::quit);
    limit.start(LimitMs);
    if (!isDone())
        m_loop.exec();
}

void Receiver::count(const QByteArray &body)
{
    count(body.at(0), body.at(body.size() - 1), body.size());
}

void Receiver::count(char first, char last, int size)
{
    m_isGood
        = m_isGood && first == Order::First && last == Order::Last && size == m_order.bodyBytes;
    if (++m_bodies == m_order.count)
        m_loop.quit();
}

void Receiver::countAll()
{
    m_bodies = m_order.count;
    m_loop.quit();
}

const Order &Receiver::order() const
{
    return m_order;
}

bool Receiver::isDone() const
{
    return m_bodies == m_order.count;
}
