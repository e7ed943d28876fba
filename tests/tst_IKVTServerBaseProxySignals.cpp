#include "MinimalProxy.h"
#include "PackageBase.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <thread>

namespace {

using Base = IKVTServerBaseProxy;

/// Raises all seven signals with arguments of their own.
void raiseAll(MinimalProxy *proxy, void *sender, PackageBase *package)
{
    ConnectEquipmentEventArgs begin;
    begin.setPortNam(QStringLiteral("COM1"));
    ConnectEquipmentEventArgs complete;
    complete.setPortNam(QStringLiteral("COM2"));
    NotifyRegisterErrorEventArgs error;
    error.setErrInfo(QStringLiteral("refused"));
    CompletePackageRequestEventArgs request;
    request.setRequest(package);
    Q_EMIT proxy->EquipmentChangeEvent(sender, EventArgs(11));
    Q_EMIT proxy->BeginConnectEquipment(sender, begin);
    Q_EMIT proxy->NotifyRegisterErrEvent(sender, error);
    Q_EMIT proxy->CompleteConnectEquipment(sender, complete);
    Q_EMIT proxy->BeginConnectAllController(sender, EventArgs(12));
    Q_EMIT proxy->CompleteConnectAllController(sender, EventArgs(13));
    Q_EMIT proxy->CallBackBroadcastRecvedReplyEvent(sender, request);
}

const QStringList AllSignals{QStringLiteral("changed 11"),       QStringLiteral("begin COM1"),
                             QStringLiteral("error refused"),    QStringLiteral("complete COM2"),
                             QStringLiteral("begin all 12"),     QStringLiteral("complete all 13"),
                             QStringLiteral("broadcast a reply")};

/// Writes down what arrives through connections of the given kind, and where.
class Listener : public QObject
{
public:
    Listener(MinimalProxy *proxy, void *sender, Qt::ConnectionType type)
        : m_sender(sender)
    {
        connect(
            proxy, &Base::EquipmentChangeEvent, this,
            [this](void *from, EventArgs args) {
                add(from, QStringLiteral("changed %1").arg(args.value()));
            },
            type);
        connect(
            proxy, &Base::BeginConnectEquipment, this,
            [this](void *from, const ConnectEquipmentEventArgs &args) {
                add(from, QStringLiteral("begin ") + args.portNam());
            },
            type);
        connect(
            proxy, &Base::NotifyRegisterErrEvent, this,
            [this](void *from, const NotifyRegisterErrorEventArgs &args) {
                add(from, QStringLiteral("error ") + args.errInfo());
            },
            type);
        connect(
            proxy, &Base::CompleteConnectEquipment, this,
            [this](void *from, const ConnectEquipmentEventArgs &args) {
                add(from, QStringLiteral("complete ") + args.portNam());
            },
            type);
        connect(
            proxy, &Base::BeginConnectAllController, this,
            [this](void *from, EventArgs args) {
                add(from, QStringLiteral("begin all %1").arg(args.value()));
            },
            type);
        connect(
            proxy, &Base::CompleteConnectAllController, this,
            [this](void *from, EventArgs args) {
                add(from, QStringLiteral("complete all %1").arg(args.value()));
            },
            type);
        connect(
            proxy, &Base::CallBackBroadcastRecvedReplyEvent, this,
            [this](void *from, const CompletePackageRequestEventArgs &args) {
                add(from, QStringLiteral("broadcast ") + args.request()->getTag());
            },
            type);
    }

    QStringList words;
    QThread *thread = nullptr;
    bool isSenderKept = true;

private:
    void add(void *from, const QString &word)
    {
        words.append(word);
        thread = QThread::currentThread();
        isSenderKept = isSenderKept && from == m_sender;
    }

    void *const m_sender;
};

} // namespace

/// Tests of the signals that IKVTServerBaseProxy declares.
class tst_IKVTServerBaseProxySignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsItsSignals();
    void raisesItsSignalsDirectly();
    void raisesItsSignalsThroughTheEventLoop();
    void raisesItsSignalsOnTheReceiversThread();
};

void tst_IKVTServerBaseProxySignals::recordsItsSignals()
{
    MinimalProxy proxy;
    PackageBase package;
    int sender = 0;
    QSignalSpy changed(&proxy, &Base::EquipmentChangeEvent);
    QSignalSpy begun(&proxy, &Base::BeginConnectEquipment);
    QSignalSpy error(&proxy, &Base::NotifyRegisterErrEvent);
    QSignalSpy connected(&proxy, &Base::CompleteConnectEquipment);
    QSignalSpy allBegun(&proxy, &Base::BeginConnectAllController);
    QSignalSpy allConnected(&proxy, &Base::CompleteConnectAllController);
    QSignalSpy broadcast(&proxy, &Base::CallBackBroadcastRecvedReplyEvent);
    const QList<QSignalSpy *> spies{&changed,  &begun,        &error,    &connected,
                                    &allBegun, &allConnected, &broadcast};
    for (QSignalSpy *const spy : spies)
        QVERIFY(spy->isValid());
    raiseAll(&proxy, &sender, &package);
    for (QSignalSpy *const spy : spies) {
        QCOMPARE(spy->size(), 1);
        QCOMPARE(spy->at(0).at(0).value<void *>(), static_cast<void *>(&sender));
    }
    QCOMPARE(changed.at(0).at(1).value<EventArgs>().value(), 11);
    QCOMPARE(begun.at(0).at(1).value<ConnectEquipmentEventArgs>().portNam(),
             QStringLiteral("COM1"));
    QCOMPARE(error.at(0).at(1).value<NotifyRegisterErrorEventArgs>().errInfo(),
             QStringLiteral("refused"));
    QCOMPARE(connected.at(0).at(1).value<ConnectEquipmentEventArgs>().portNam(),
             QStringLiteral("COM2"));
    QCOMPARE(allBegun.at(0).at(1).value<EventArgs>().value(), 12);
    QCOMPARE(allConnected.at(0).at(1).value<EventArgs>().value(), 13);
    QCOMPARE(broadcast.at(0).at(1).value<CompletePackageRequestEventArgs>().request(), &package);
}

void tst_IKVTServerBaseProxySignals::raisesItsSignalsDirectly()
{
    MinimalProxy proxy;
    PackageBase package;
    package.setTag(QStringLiteral("a reply"));
    const Listener listener(&proxy, this, Qt::DirectConnection);
    raiseAll(&proxy, this, &package);
    QCOMPARE(listener.words, AllSignals);
    QVERIFY(listener.isSenderKept);
}

void tst_IKVTServerBaseProxySignals::raisesItsSignalsThroughTheEventLoop()
{
    MinimalProxy proxy;
    PackageBase package;
    package.setTag(QStringLiteral("a reply"));
    Listener listener(&proxy, nullptr, Qt::QueuedConnection);
    raiseAll(&proxy, nullptr, &package);
    QVERIFY(listener.words.isEmpty());
    QCoreApplication::sendPostedEvents(&listener);
    QCOMPARE(listener.words, AllSignals);
    QVERIFY(listener.isSenderKept);
}

void tst_IKVTServerBaseProxySignals::raisesItsSignalsOnTheReceiversThread()
{
    MinimalProxy proxy;
    PackageBase package;
    package.setTag(QStringLiteral("a reply"));
    const Listener listener(&proxy, this, Qt::AutoConnection);
    std::thread([&] { raiseAll(&proxy, this, &package); }).join();
    QVERIFY(listener.words.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(listener.words, AllSignals, WaitLimitMs);
    QCOMPARE(listener.thread, QThread::currentThread());
    QVERIFY(listener.isSenderKept);
}

KSPROXY_TEST_MAIN(tst_IKVTServerBaseProxySignals)
#include "tst_IKVTServerBaseProxySignals.moc"
