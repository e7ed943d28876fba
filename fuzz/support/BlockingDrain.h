#ifndef BLOCKINGDRAIN_H
#define BLOCKINGDRAIN_H

#include <QSemaphore>
#include <QThread>

class KVTServerMessageOldProxy;

/// A thread that runs the proxy's blocking notify loop, each time until the queue is empty.
class BlockingDrain : public QThread
{
    Q_OBJECT

public:
    BlockingDrain();
    ~BlockingDrain() override;

    /// Returns when the loop has.
    void drain(KVTServerMessageOldProxy *proxy);

protected:
    void run() override;

private:
    QSemaphore m_begin;
    QSemaphore m_done;
    KVTServerMessageOldProxy *m_proxy = nullptr; // null: the thread ends
};

#endif
