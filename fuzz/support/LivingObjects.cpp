#include "LivingObjects.h"

#include <QMutex>
#include <QMutexLocker>

// Qt's table of hooks, there for tools that watch objects; its header is a private one.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

constexpr int AddObject = 3;
constexpr int RemoveObject = 4;

QMutex &mutex()
{
    static auto *const lasting = new QMutex; // objects go until the very end of the process
    return *lasting;
}

QSet<QObject *> &living()
{
    static auto *const lasting = new QSet<QObject *>;
    return *lasting;
}

void addLiving(QObject *object)
{
    const QMutexLocker locker(&mutex());
    living().insert(object);
}

void removeLiving(QObject *object)
{
    const QMutexLocker locker(&mutex());
    living().remove(object);
}

} // namespace

void LivingObjects::start()
{
    qtHookData[AddObject] = reinterpret_cast<quintptr>(&addLiving);
    qtHookData[RemoveObject] = reinterpret_cast<quintptr>(&removeLiving);
    const QMutexLocker locker(&mutex());
    living().clear();
}

QSet<QObject *> LivingObjects::all()
{
    const QMutexLocker locker(&mutex());
    return living();
}
