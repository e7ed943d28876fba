#include "LivingObjects.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

// Qt's table of hooks, there for tools that watch objects; its header is a private one.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

constexpr int AddObject = 3;
constexpr int RemoveObject = 4;

struct Living
{
    QMutex mutex;
    QHash<QObject *, Qt::HANDLE> objects; // with the thread that made each
    QHash<Qt::HANDLE, QVector<QObject *>> fresh; // of each thread, since they were taken
};

Living &living()
{
    static auto *const lasting = new Living; // objects go until the very end of the process
    return *lasting;
}

void addLiving(QObject *object)
{
    const Qt::HANDLE thread = QThread::currentThreadId();
    const QMutexLocker locker(&living().mutex);
    living().objects.insert(object, thread);
    living().fresh[thread].append(object);
}

void removeLiving(QObject *object)
{
    const QMutexLocker locker(&living().mutex);
    living().fresh[living().objects.take(object)].removeOne(object);
}

QSet<QObject *> asSet(const QList<QObject *> &objects)
{
    return QSet<QObject *>(objects.cbegin(), objects.cend());
}

} // namespace

void LivingObjects::start()
{
    qtHookData[AddObject] = reinterpret_cast<quintptr>(&addLiving);
    qtHookData[RemoveObject] = reinterpret_cast<quintptr>(&removeLiving);
    const QMutexLocker locker(&living().mutex);
    living().objects.clear();
    living().fresh.clear();
}

QSet<QObject *> LivingObjects::all()
{
    const QMutexLocker locker(&living().mutex);
    return asSet(living().objects.keys());
}

QSet<QObject *> LivingObjects::madeHere()
{
    const QMutexLocker locker(&living().mutex);
    return asSet(living().objects.keys(QThread::currentThreadId()));
}

QVector<QObject *> LivingObjects::takeNew()
{
    const QMutexLocker locker(&living().mutex);
    return living().fresh.take(QThread::currentThreadId());
}
