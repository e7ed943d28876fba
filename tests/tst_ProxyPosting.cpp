#include "ChosenArgs.h"
#include "DeletionWatch.h"
#include "KVTServerMessageOldProxy.h"
#include "MyEvent.h"
#include "SignalRecorder.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>
#include <memory>

namespace {

/// Sees in which order events reach the proxy.
class OpenProxy : public KVTServerMessageOldProxy
{
public:
    QList<int> received;

    bool event(QEvent *event) override
    {
        received.append(event->type());
        return KVTServerMessageOldProxy::event(event);
    }
};

/// Keeps the argument object of a completed equipment, which the proxy does not release.
class ArgsKeeper : public QObject
{
public:
    ConnectEquipmentEventArgs *args = nullptr;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == MyEvent::m_CompleteConnectEquipment)
            args = static_cast<ConnectEquipmentEventArgs *>(static_cast<MyEvent *>(event)->m_args);
        return QObject::eventFilter(watched, event);
    }
};

void *const Sender = reinterpret_cast<void *>(77);

} // namespace

/// The operations that post an event to the proxy or raise a signal at once.
class tst_ProxyPosting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deletesPostedArgumentsOnce_data();
    void deletesPostedArgumentsOnce();
    void leavesTheArgumentsOfCompletedControllersAlone();
    void raisesTwoSignalsAtOnce();
    void reportsACompletedEquipmentWithAnEmptyNameOnly_data();
    void reportsACompletedEquipmentWithAnEmptyNameOnly();
    void overtakesWhatIsQueuedAlready();
    void deliversEventsOfOtherThreadsOnItsOwn();
};

void tst_ProxyPosting::deletesPostedArgumentsOnce_data()
{
    QTest::addColumn<Args>("args");
    QTest::addColumn<QString>("raised");
    QTest::newRow("registration error")
        << Args::RegisterError << QStringLiteral("NotifyRegisterErrEvent(77, no room)");
    QTest::newRow("begin connecting all controllers")
        << Args::Plain << QStringLiteral("BeginConnectAllController(77, 42)");
}

void tst_ProxyPosting::deletesPostedArgumentsOnce()
{
    QFETCH(Args, args);
    QFETCH(QString, raised);
    KVTServerMessageOldProxy proxy;
    const SignalRecorder recorder(&proxy);
    void *const object = makeArgs(args);
    const DeletionWatch watch(object);
    if (args == Args::RegisterError)
        proxy.OnNotifyRegisterErr(Sender, static_cast<NotifyRegisterErrorEventArgs *>(object));
    else
        proxy.OnBeginConnectAllController(Sender, static_cast<EventArgs *>(object));
    QVERIFY(recorder.raised.isEmpty());
    QCOMPARE(watch.deletions(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised, QStringList{raised}, WaitLimitMs);
    QCOMPARE(watch.deletions(), 1);
}

void tst_ProxyPosting::leavesTheArgumentsOfCompletedControllersAlone()
{
    KVTServerMessageOldProxy proxy;
    const SignalRecorder recorder(&proxy);
    auto *const object = new EventArgs(42);
    const DeletionWatch watch(object);
    proxy.OnCompleteConnectAllControllerr(Sender, object);
    QVERIFY(recorder.raised.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised,
                              QStringList{QStringLiteral("CompleteConnectAllController(77, 15)")},
                              WaitLimitMs);
    QCOMPARE(watch.deletions(), 0);
    // An object that was gone by the time of the delivery would not matter either.
    EventArgs *const wild = reinterpret_cast<EventArgs *>(8);
    proxy.OnCompleteConnectAllControllerr(Sender, wild);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised.size(), 2, WaitLimitMs);
}

void tst_ProxyPosting::raisesTwoSignalsAtOnce()
{
    KVTServerMessageOldProxy proxy;
    const SignalRecorder recorder(&proxy);
    EventArgs change(42);
    ConnectEquipmentEventArgs connecting;
    connecting.setPortNam(QStringLiteral("COM7"));
    proxy.OnEquipmentChangeEvent(Sender, &change);
    proxy.OnBeginConnectEquipment(Sender, &connecting);
    QCOMPARE(recorder.raised,
             (QStringList{QStringLiteral("EquipmentChangeEvent(77, 42)"),
                          QStringLiteral("BeginConnectEquipment(77, COM7)")}));
    QCOMPARE(connecting.portNam(), QStringLiteral("COM7"));
    QCoreApplication::sendPostedEvents(&proxy);
    QCOMPARE(recorder.raised.size(), 2);
}

void tst_ProxyPosting::reportsACompletedEquipmentWithAnEmptyNameOnly_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isReported");
    QTest::newRow("empty") << QStringLiteral("") << true;
    QTest::newRow("null") << QString() << false;
    QTest::newRow("a name") << QStringLiteral("COM7") << false;
    QTest::newRow("a blank") << QStringLiteral(" ") << false;
}

void tst_ProxyPosting::reportsACompletedEquipmentWithAnEmptyNameOnly()
{
    QFETCH(QString, name);
    QFETCH(bool, isReported);
    KVTServerMessageOldProxy proxy;
    ArgsKeeper keeper;
    proxy.installEventFilter(&keeper);
    const SignalRecorder recorder(&proxy);
    proxy.OnCompleteConnectEquipment(Sender, name);
    QVERIFY(recorder.raised.isEmpty());
    proxy.OnCompleteConnectAllControllerr(nullptr, nullptr); // the marker
    QStringList expected;
    if (isReported)
        expected << QStringLiteral("CompleteConnectEquipment(77, )");
    expected << QStringLiteral("CompleteConnectAllController(0, 15)");
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised, expected, WaitLimitMs);
    QCOMPARE(keeper.args != nullptr, isReported);
    delete keeper.args;
}

void tst_ProxyPosting::overtakesWhatIsQueuedAlready()
{
    OpenProxy proxy;
    QCoreApplication::postEvent(&proxy, new QEvent(QEvent::User));
    proxy.OnCompleteConnectAllControllerr(Sender, nullptr);
    proxy.OnBeginConnectAllController(Sender, new EventArgs);
    proxy.OnNotifyRegisterErr(Sender, new NotifyRegisterErrorEventArgs);
    proxy.OnCompleteConnectEquipment(Sender, QStringLiteral("COM7")); // none
    // Below what a user may post as more urgent still.
    QCoreApplication::postEvent(&proxy, new QEvent(QEvent::LanguageChange),
                                Qt::HighEventPriority + 1);
    QCoreApplication::sendPostedEvents(&proxy);
    QCOMPARE(proxy.received,
             (QList<int>{QEvent::LanguageChange, MyEvent::m_CompleteConnectAllController,
                         MyEvent::m_BeginConnectAllController, MyEvent::m_NotifyRegisterErrEvent,
                         QEvent::User}));
}

void tst_ProxyPosting::deliversEventsOfOtherThreadsOnItsOwn()
{
    KVTServerMessageOldProxy proxy;
    const SignalRecorder recorder(&proxy);
    auto *const error = static_cast<NotifyRegisterErrorEventArgs *>(makeArgs(Args::RegisterError));
    const DeletionWatch watch(error);
    const std::unique_ptr<QThread> producer(QThread::create([&] {
        proxy.OnNotifyRegisterErr(Sender, error);
        proxy.OnBeginConnectAllController(Sender, new EventArgs(42));
        proxy.OnCompleteConnectAllControllerr(Sender, nullptr);
    }));
    producer->start();
    QVERIFY(producer->wait(WaitLimitMs));
    QVERIFY(recorder.raised.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised,
                              (QStringList{
                                  QStringLiteral("NotifyRegisterErrEvent(77, no room)"),
                                  QStringLiteral("BeginConnectAllController(77, 42)"),
                                  QStringLiteral("CompleteConnectAllController(77, 15)"),
                              }),
                              WaitLimitMs);
    QCOMPARE(recorder.thread, thread());
    QCOMPARE(watch.deletions(), 1);
}

KSPROXY_TEST_MAIN(tst_ProxyPosting)
#include "tst_ProxyPosting.moc"
