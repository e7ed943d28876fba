#include "ChosenArgs.h"
#include "DeletionWatch.h"
#include "KVTServerMessageOldProxy.h"
#include "LogCapture.h"
#include "MyEvent.h"
#include "SignalRecorder.h"
#include "TestMain.h"

#include <QTest>

namespace {

/// Sees what the proxy hands on to QObject.
class OpenProxy : public KVTServerMessageOldProxy
{
public:
    QList<int> custom;

protected:
    void customEvent(QEvent *event) override
    {
        custom.append(event->type());
    }
};

void *const Sender = reinterpret_cast<void *>(77);

using EventType = int;

} // namespace

/// What the proxy makes of the events that reach it.
class tst_ProxyEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void raisesTheSignalOfEachType_data();
    void raisesTheSignalOfEachType();
    void raisesNothingWithoutATarget_data();
    void raisesNothingWithoutATarget();
    void raisesDefaultsWithoutArguments_data();
    void raisesDefaultsWithoutArguments();
    void refusesANullEvent();
    void handsOtherEventsOn_data();
    void handsOtherEventsOn();
};

void tst_ProxyEvents::raisesTheSignalOfEachType_data()
{
    QTest::addColumn<EventType>("type");
    QTest::addColumn<Args>("args");
    QTest::addColumn<QString>("raised");
    QTest::addColumn<int>("deletions");
    QTest::newRow("complete request")
        << EventType(MyEvent::m_CompleteRequestEvent) << Args::Plain << QString() << 0;
    QTest::newRow("begin request")
        << EventType(MyEvent::m_BeginRequestEvent) << Args::Plain << QString() << 0;
    QTest::newRow("registration error")
        << EventType(MyEvent::m_NotifyRegisterErrEvent) << Args::RegisterError
        << QStringLiteral("NotifyRegisterErrEvent(77, no room)") << 1;
    QTest::newRow("begin connecting equipment")
        << EventType(MyEvent::m_BeginConnectEquipment) << Args::Connect
        << QStringLiteral("BeginConnectEquipment(77, COM7)") << 0;
    QTest::newRow("complete connecting equipment")
        << EventType(MyEvent::m_CompleteConnectEquipment) << Args::Connect
        << QStringLiteral("CompleteConnectEquipment(77, COM7)") << 0;
    QTest::newRow("begin connecting all controllers")
        << EventType(MyEvent::m_BeginConnectAllController) << Args::Plain
        << QStringLiteral("BeginConnectAllController(77, 42)") << 1;
    QTest::newRow("complete connecting all controllers")
        << EventType(MyEvent::m_CompleteConnectAllController) << Args::Plain
        << QStringLiteral("CompleteConnectAllController(77, 15)") << 0;
    QTest::newRow("equipment change") << EventType(MyEvent::m_EquipmentChangeEvent) << Args::Plain
                                      << QStringLiteral("EquipmentChangeEvent(77, 42)") << 0;
}

void tst_ProxyEvents::raisesTheSignalOfEachType()
{
    QFETCH(EventType, type);
    QFETCH(Args, args);
    QFETCH(QString, raised);
    QFETCH(int, deletions);
    OpenProxy receiver;
    OpenProxy target; // the signal is the target's, whoever gets the event
    const SignalRecorder atReceiver(&receiver);
    const SignalRecorder atTarget(&target);
    void *const object = makeArgs(args);
    const DeletionWatch watch(object);
    MyEvent event(static_cast<QEvent::Type>(type), static_cast<IKVTServerBaseProxy *>(&target),
                  Sender, object);
    const LogCapture log;
    QVERIFY(receiver.event(&event));
    QCOMPARE(atTarget.raised, raised.isEmpty() ? QStringList() : QStringList{raised});
    QVERIFY(atReceiver.raised.isEmpty());
    QCOMPARE(watch.deletions(), deletions);
    QCOMPARE(event.m_args, deletions > 0 ? nullptr : object);
    QVERIFY(receiver.custom.isEmpty());
    QVERIFY(log.lines().isEmpty());
    if (deletions == 0)
        destroyContent(object, args);
}

void tst_ProxyEvents::raisesNothingWithoutATarget_data()
{
    raisesTheSignalOfEachType_data();
}

void tst_ProxyEvents::raisesNothingWithoutATarget()
{
    QFETCH(EventType, type);
    QFETCH(Args, args);
    OpenProxy receiver;
    const SignalRecorder recorder(&receiver);
    void *const object = makeArgs(args);
    const DeletionWatch watch(object);
    MyEvent event(static_cast<QEvent::Type>(type), nullptr, Sender, object);
    QVERIFY(receiver.event(&event));
    QVERIFY(recorder.raised.isEmpty());
    QCOMPARE(watch.deletions(), 0);
    QCOMPARE(event.m_args, object);
    QVERIFY(receiver.custom.isEmpty());
    destroyContent(object, args);
}

void tst_ProxyEvents::raisesDefaultsWithoutArguments_data()
{
    QTest::addColumn<EventType>("type");
    QTest::addColumn<QString>("raised");
    QTest::newRow("complete request") << EventType(MyEvent::m_CompleteRequestEvent) << QString();
    QTest::newRow("begin request") << EventType(MyEvent::m_BeginRequestEvent) << QString();
    QTest::newRow("registration error: there is none to report")
        << EventType(MyEvent::m_NotifyRegisterErrEvent) << QString();
    QTest::newRow("begin connecting equipment") << EventType(MyEvent::m_BeginConnectEquipment)
                                                << QStringLiteral("BeginConnectEquipment(77, )");
    QTest::newRow("complete connecting equipment")
        << EventType(MyEvent::m_CompleteConnectEquipment)
        << QStringLiteral("CompleteConnectEquipment(77, )");
    QTest::newRow("begin connecting all controllers")
        << EventType(MyEvent::m_BeginConnectAllController)
        << QStringLiteral("BeginConnectAllController(77, 0)");
    QTest::newRow("complete connecting all controllers")
        << EventType(MyEvent::m_CompleteConnectAllController)
        << QStringLiteral("CompleteConnectAllController(77, 15)");
    QTest::newRow("equipment change") << EventType(MyEvent::m_EquipmentChangeEvent)
                                      << QStringLiteral("EquipmentChangeEvent(77, 0)");
}

void tst_ProxyEvents::raisesDefaultsWithoutArguments()
{
    QFETCH(EventType, type);
    QFETCH(QString, raised);
    OpenProxy proxy;
    const SignalRecorder recorder(&proxy);
    MyEvent event(static_cast<QEvent::Type>(type), static_cast<IKVTServerBaseProxy *>(&proxy),
                  Sender, nullptr);
    QVERIFY(proxy.event(&event));
    QCOMPARE(recorder.raised, raised.isEmpty() ? QStringList() : QStringList{raised});
    QVERIFY(event.m_args == nullptr);
}

void tst_ProxyEvents::refusesANullEvent()
{
    KVTServerMessageOldProxy proxy;
    QVERIFY(!proxy.event(nullptr));
}

void tst_ProxyEvents::handsOtherEventsOn_data()
{
    QTest::addColumn<EventType>("type");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("isCustom");
    QTest::newRow("an application's own type") << EventType(QEvent::User) << true << true;
    QTest::newRow("a broadcast begins")
        << EventType(MyEvent::m_BroadcastBeginRequestEvent) << true << true;
    QTest::newRow("a broadcast reply")
        << EventType(MyEvent::m_BroadcastRecvedReplyEvent) << true << true;
    QTest::newRow("a type of Qt's that objects do not know")
        << EventType(QEvent::LanguageChange) << false << false;
    QTest::newRow("no type") << EventType(QEvent::None) << false << false;
}

void tst_ProxyEvents::handsOtherEventsOn()
{
    QFETCH(EventType, type);
    QFETCH(bool, result);
    QFETCH(bool, isCustom);
    OpenProxy proxy;
    const SignalRecorder recorder(&proxy);
    EventArgs args(42);
    MyEvent event(static_cast<QEvent::Type>(type), static_cast<IKVTServerBaseProxy *>(&proxy),
                  Sender, &args);
    QCOMPARE(proxy.event(&event), result);
    QCOMPARE(proxy.custom, isCustom ? QList<int>{type} : QList<int>());
    QVERIFY(recorder.raised.isEmpty());
}

KSPROXY_TEST_MAIN(tst_ProxyEvents)
#include "tst_ProxyEvents.moc"
