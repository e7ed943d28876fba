#include "SocketClients.h"

#include "FailingCalls.h"

#include <QMetaMethod>
#include <QMutex>
#include <QObject>
#include <QSet>

// Qt's table of hooks, there for tools that watch objects; its header is a private one.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

constexpr int AddObject = 3;
constexpr int RemoveObject = 4;

struct Objects
{
    QMutex mutex;
    QSet<QObject *> all;
};

// Never deleted: objects go until the very end of the process.
Objects &objects()
{
    static auto *const instance = new Objects;
    return *instance;
}

void noteMade(QObject *object)
{
    const FailingCalls::Pause pause;
    const QMutexLocker locker(&objects().mutex);
    objects().all.insert(object);
}

void noteGone(QObject *object)
{
    const FailingCalls::Pause pause;
    const QMutexLocker locker(&objects().mutex);
    objects().all.remove(object);
}

/// Opens what a QObject keeps to its own classes.
class Connections : public QObject
{
public:
    static bool has(const QObject *object, const QMetaMethod &signal)
    {
        using IsConnected = bool (QObject::*)(const QMetaMethod &) const;
        return (object->*static_cast<IsConnected>(&Connections::isSignalConnected))(signal);
    }
};

// A proxy listens to its client as long as it stands.
bool isAbandoned(const QObject *object)
{
    const QMetaObject *const meta = object->metaObject();
    if (qstrcmp(meta->className(), "MsgSocketClient") != 0)
        return false;
    const int signal = meta->indexOfSignal("receivedInfos(QByteArray)");
    return !Connections::has(object, meta->method(signal));
}

} // namespace

void SocketClients::watch()
{
    objects();
    qtHookData[AddObject] = reinterpret_cast<quintptr>(&noteMade);
    qtHookData[RemoveObject] = reinterpret_cast<quintptr>(&noteGone);
}

void SocketClients::deleteAbandoned()
{
    const FailingCalls::Pause pause;
    QList<QObject *> abandoned;
    {
        const QMutexLocker locker(&objects().mutex);
        for (QObject *const object : qAsConst(objects().all)) {
            if (isAbandoned(object))
                abandoned.append(object);
        }
    }
    qDeleteAll(abandoned);
}
