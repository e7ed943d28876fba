#ifndef BATCHES_H
#define BATCHES_H

#include "Order.h"

#include <QTimer>

#include <functional>

/// Carries out orders from the event loop, so that what writes for it gets its turn between two
/// batches.
class Batches
{
public:
    /// \a handOver gives one body to whatever writes it.
    explicit Batches(std::function<void(const QByteArray &)> handOver)
        : m_handOver(std::move(handOver))
    {
        QObject::connect(&m_turn, &QTimer::timeout, [this] { writeBatch(); });
    }

    void start(const Order &order)
    {
        m_order = order;
        m_body = order.body();
        m_left = order.count;
        m_turn.start(0);
    }

private:
    void writeBatch()
    {
        for (int i = 0; i < m_order.batch() && m_left > 0; ++i, --m_left)
            m_handOver(m_body);
        if (m_left == 0)
            m_turn.stop();
    }

    const std::function<void(const QByteArray &)> m_handOver;
    QTimer m_turn;
    Order m_order{};
    QByteArray m_body;
    int m_left = 0;
};

#endif
