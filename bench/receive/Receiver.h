#ifndef RECEIVER_H
#define RECEIVER_H

#include "Order.h"

#include <QEventLoop>
#include <QObject>
#include <QString>

/// One way to receive what another process writes. Each counts the bodies and looks at the first
/// and the last byte of each.
class Receiver : public QObject
{
    Q_OBJECT

public:
    ~Receiver() override;

    /// Connects to its writer; false when there is none.
    virtual bool open() = 0;

    /// Orders and waits until all has arrived. Returns the nanoseconds for each body; a negative
    /// number when something was lost, changed or did not come in time.
    double receive(const Order &order);

protected:
    /// Hands \a order to the writer.
    virtual void send(const Order &order) = 0;
    /// Runs until `isDone`; the event loop unless there is none.
    virtual void wait();

    void count(const QByteArray &body);
    void count(char first, char last, int size);
    /// For bodies that cannot be told apart: so many of them came whole.
    void countAll();
    const Order &order() const;
    bool isDone() const;

private:
    Order m_order{};
    int m_bodies = 0;
    bool m_isGood = true;
    QEventLoop m_loop;
};

#endif
