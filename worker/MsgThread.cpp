#include "MsgThread.h"

#include "Guarded.h"

#include <QCoreApplication>

#include <cstring>
#include <new>

static_assert(sizeof(std::atomic<bool>) == sizeof(bool)
              && sizeof(std::atomic<qint32>) == sizeof(qint32));

namespace {

void *firstPointer(const void *object)
{
    void *pointer = nullptr;
    std::memcpy(&pointer, object, sizeof pointer);
    return pointer;
}

// Through the object's own table of virtual operations: its class is not known here, and a call
// through a stand-in class that nobody derives from may be optimised into an abort.
void callFirstOperation(void *runnable)
{
    using Operation = void (*)(void *);
    Operation operation = nullptr;
    std::memcpy(&operation, firstPointer(runnable), sizeof operation);
    operation(runnable);
}

} // namespace

MsgThread::MsgThread(int interval, ThreadRunBase *runner)
    : m_interval(interval)
    , m_runner(runner)
{ }

MsgThread::~MsgThread()
{
    // Plain deallocation: the class is only declared here, so no destructor of it can run.
    ::operator delete(static_cast<void *>(m_runner));
    m_runner = nullptr;
}

void MsgThread::run()
{
    // A signal for which there is no memory is left out; the beat comes again.
    guarded([this] { Q_EMIT begionRunEvent(); });
    while (!stop()) {
        if (m_runner != nullptr) {
            // No pause and no events: a runner paces itself.
            if (void *const runnable = firstPointer(m_runner))
                callFirstOperation(runnable);
            continue;
        }
        guarded([this] { Q_EMIT doInfo(false); });
        if (stop())
            break;
        // Widened with its sign, so a negative interval becomes an enormous sleep.
        msleep(static_cast<unsigned long>(static_cast<long>(interval())));
        QCoreApplication::processEvents();
    }
    guarded([this] { Q_EMIT endRunEvent(); });
}

bool MsgThread::stop()
{
    return m_stop.load(std::memory_order_relaxed);
}

void MsgThread::setStop(bool stop)
{
    m_stop.store(stop, std::memory_order_relaxed);
}

int MsgThread::interval() const
{
    return m_interval.load(std::memory_order_relaxed);
}

void MsgThread::setInterval(int interval)
{
    m_interval.store(interval, std::memory_order_relaxed);
}
