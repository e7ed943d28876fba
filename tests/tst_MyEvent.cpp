#include "MyEvent.h"
#include "TestMain.h"

#include <QCoreApplication>
#include <QList>
#include <QSet>
#include <QTest>

#include <array>
#include <thread>

namespace {

QList<int> allTypes()
{
    return {MyEvent::m_BeginRequestEvent,         MyEvent::m_BroadcastBeginRequestEvent,
            MyEvent::m_BroadcastRecvedReplyEvent, MyEvent::m_NotifyRegisterErrEvent,
            MyEvent::m_BeginConnectEquipment,     MyEvent::m_CompleteConnectEquipment,
            MyEvent::m_BeginConnectAllController, MyEvent::m_CompleteConnectAllController,
            MyEvent::m_EquipmentChangeEvent,      MyEvent::m_CompleteRequestEvent};
}

/// Writes down the types and the third pointers of the events it gets.
class Receiver : public QObject
{
public:
    QList<int> types;
    QList<void *> arguments;

    bool event(QEvent *event) override
    {
        types.append(event->type());
        if (allTypes().contains(event->type()))
            arguments.append(static_cast<MyEvent *>(event)->m_args);
        return true;
    }
};

} // namespace

class tst_MyEvent : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasTheFirstNumbersInOrder();
    void hasTenTypesOfItsOwn();
    void keepsItsPointersInOrder();
    void takesAnyType();
    void leavesWhatItsPointersPointTo();
    void isDeletedThroughItsBase();
    void liesInMemoryInOrder();
    void overtakesEventsOfNormalPriority();
    void keepsItsOrderAmongThreads();
};

void tst_MyEvent::hasTheFirstNumbersInOrder()
{
    QList<int> expected;
    for (int number = QEvent::MaxUser; number > QEvent::MaxUser - 10; --number)
        expected.append(number);
    QCOMPARE(allTypes(), expected);
    QCOMPARE(allTypes().first(), 65535);
    QCOMPARE(allTypes().last(), 65526);
}

void tst_MyEvent::hasTenTypesOfItsOwn()
{
    const QList<int> types = allTypes();
    QCOMPARE(QSet<int>(types.begin(), types.end()).size(), 10);
    for (const int type : types) {
        QVERIFY(type > QEvent::User && type <= QEvent::MaxUser);
        QVERIFY2(QEvent::registerEventType(type) != type, "the number is registered");
    }
}

void tst_MyEvent::keepsItsPointersInOrder()
{
    int target = 0;
    int sender = 0;
    int arguments = 0;
    const MyEvent event(MyEvent::m_NotifyRegisterErrEvent, &target, &sender, &arguments);
    QCOMPARE(event.type(), MyEvent::m_NotifyRegisterErrEvent);
    QCOMPARE(event.m_target, static_cast<void *>(&target));
    QCOMPARE(event.m_sender, static_cast<void *>(&sender));
    QCOMPARE(event.m_args, static_cast<void *>(&arguments));
    QVERIFY(!event.spontaneous());
    const MyEvent empty(MyEvent::m_BeginRequestEvent, nullptr, nullptr, nullptr);
    QCOMPARE(empty.m_target, static_cast<void *>(nullptr));
    QCOMPARE(empty.m_sender, static_cast<void *>(nullptr));
    QCOMPARE(empty.m_args, static_cast<void *>(nullptr));
}

void tst_MyEvent::takesAnyType()
{
    const QList<int> types = allTypes() + QList<int>{QEvent::User, QEvent::Timer, QEvent::None};
    for (const int type : types) {
        const MyEvent event(static_cast<QEvent::Type>(type), nullptr, nullptr, nullptr);
        QCOMPARE(int(event.type()), type);
    }
}

void tst_MyEvent::leavesWhatItsPointersPointTo()
{
    QObject target;
    QObject sender;
    QObject arguments;
    int destroyed = 0;
    for (QObject *const object : {&target, &sender, &arguments})
        connect(object, &QObject::destroyed, this, [&] { ++destroyed; });
    delete new MyEvent(MyEvent::m_EquipmentChangeEvent, &target, &sender, &arguments);
    QCOMPARE(destroyed, 0);
    for (QObject *const object : {&target, &sender, &arguments})
        object->setObjectName(QStringLiteral("alive"));
    QCOMPARE(arguments.objectName(), QStringLiteral("alive"));
}

void tst_MyEvent::isDeletedThroughItsBase()
{
    QEvent *const event = new MyEvent(MyEvent::m_EquipmentChangeEvent, this, this, nullptr);
    QVERIFY(dynamic_cast<MyEvent *>(event) != nullptr);
    delete event;
}

void tst_MyEvent::liesInMemoryInOrder()
{
    QCOMPARE(sizeof(MyEvent), sizeof(QEvent) + 3 * sizeof(void *));
    const MyEvent event(MyEvent::m_BeginRequestEvent, nullptr, nullptr, nullptr);
    const auto *const begin = reinterpret_cast<const char *>(&event);
    const auto offset
        = [begin](void *const &member) { return reinterpret_cast<const char *>(&member) - begin; };
    QCOMPARE(size_t(offset(event.m_target)), sizeof(QEvent));
    QCOMPARE(size_t(offset(event.m_sender)), sizeof(QEvent) + sizeof(void *));
    QCOMPARE(size_t(offset(event.m_args)), sizeof(QEvent) + 2 * sizeof(void *));
}

void tst_MyEvent::overtakesEventsOfNormalPriority()
{
    Receiver receiver;
    int first = 0;
    int second = 0;
    const auto post = [&](QEvent *event, int priority) {
        QCoreApplication::postEvent(&receiver, event, priority);
    };
    post(new QEvent(QEvent::User), Qt::NormalEventPriority);
    post(new MyEvent(MyEvent::m_BeginConnectAllController, &receiver, nullptr, &first),
         Qt::HighEventPriority);
    post(new QEvent(static_cast<QEvent::Type>(QEvent::User + 1)), Qt::NormalEventPriority);
    post(new MyEvent(MyEvent::m_CompleteConnectAllController, &receiver, nullptr, &second),
         Qt::HighEventPriority);
    QVERIFY(receiver.types.isEmpty());
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.types,
             (QList<int>{MyEvent::m_BeginConnectAllController,
                         MyEvent::m_CompleteConnectAllController, QEvent::User, QEvent::User + 1}));
    QCOMPARE(receiver.arguments, (QList<void *>{&first, &second}));
}

void tst_MyEvent::keepsItsOrderAmongThreads()
{
    Receiver receiver;
    std::array<char, 100> arguments{};
    QList<void *> expected;
    for (char &argument : arguments)
        expected.append(&argument);
    std::thread poster([&] {
        for (void *const argument : qAsConst(expected)) {
            QCoreApplication::postEvent(
                &receiver,
                new MyEvent(MyEvent::m_CompleteConnectEquipment, &receiver, nullptr, argument),
                Qt::HighEventPriority);
        }
    });
    poster.join();
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.arguments, expected);
}

KSPROXY_TEST_MAIN(tst_MyEvent)
#include "tst_MyEvent.moc"
