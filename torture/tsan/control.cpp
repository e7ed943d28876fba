// What the thread sanitizer must say before its silence means anything: a race that it has to
// report, and queued calls between threads, done correctly, that it must not.

#include <QCoreApplication>
#include <QString>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <memory>

namespace {

int counter = 0; // guarded by nothing

void countSlowly()
{
    for (int i = 0; i < 100; ++i) {
        ++counter;
        QThread::yieldCurrentThread();
    }
}

// Relaxed, so that it brings the two threads together and orders nothing.
void race()
{
    std::atomic<bool> isRunning{false};
    const std::unique_ptr<QThread> other(QThread::create([&isRunning] {
        isRunning.store(true, std::memory_order_relaxed);
        countSlowly();
    }));
    other->start();
    while (!isRunning.load(std::memory_order_relaxed))
        QThread::yieldCurrentThread();
    countSlowly();
    other->wait();
}

// As the proxy's workers do it: what one thread writes, the other reads in the call it has queued.
void queueCalls(QCoreApplication *application)
{
    const std::unique_ptr<QThread> other(QThread::create([application] {
        for (int i = 0; i < 1000; ++i) {
            const auto text = std::make_shared<QString>(QString::number(i));
            QMetaObject::invokeMethod(
                application, [text] { counter += text->size(); }, Qt::QueuedConnection);
        }
        QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
    }));
    other->start();
    QCoreApplication::exec();
    other->wait();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString form = application.arguments().value(1);
    if (form == QLatin1String("race"))
        race();
    else if (form == QLatin1String("queued"))
        queueCalls(&application);
    else {
        std::fprintf(stderr, "usage: %s race|queued\n", argv[0]);
        return 2;
    }
    std::printf("%d\n", counter);
    return 0;
}
