#include "LocalPeer.h"
#include "LogCapture.h"
#include "SpecialPackageRequest.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"

#include <QSignalSpy>
#include <QTest>

using Command = bool (*)(KVTServerMessageOldProxy &);
Q_DECLARE_METATYPE(Command)

namespace {

/// Adds a row for each command of the interface, with what it queues.
void addCommandRows()
{
    using Proxy = KVTServerMessageOldProxy;
    QTest::addColumn<Command>("command");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, Command command, int id, const QString &text) {
        QTest::newRow(name) << command << id << text << text.toUtf8();
    };
    row(
        "connect all controllers", [](Proxy &proxy) { return proxy.ConnectController(); }, 4,
        QString());
    row(
        "connect one controller",
        [](Proxy &proxy) { return proxy.ConnectController(QStringLiteral("COM 3")); }, 3,
        QStringLiteral("COM 3"));
    row(
        "connect a controller with a name beyond ASCII",
        [](Proxy &proxy) { return proxy.ConnectController(QStringLiteral("Gr\u00FC\u4E2D")); }, 3,
        QStringLiteral("Gr\u00FC\u4E2D"));
    row(
        "connect a controller with a blank as its name",
        [](Proxy &proxy) { return proxy.ConnectController(QStringLiteral(" ")); }, 3,
        QStringLiteral(" "));
    row(
        "cancel all sends", [](Proxy &proxy) { return proxy.CancelServerAllSend(); }, 5, QString());
    row(
        "cancel one send",
        [](Proxy &proxy) { return proxy.CancelServerSend(QStringLiteral("key")); }, 6,
        QStringLiteral("key"));
    row(
        "cancel one send without a key",
        [](Proxy &proxy) { return proxy.CancelServerSend(QString()); }, 6, QString());
    row(
        "connect by itself", [](Proxy &proxy) { return proxy.SetAutoConnectSwitch(true); }, 19,
        QStringLiteral("True"));
    row(
        "do not connect by itself", [](Proxy &proxy) { return proxy.SetAutoConnectSwitch(false); },
        19, QStringLiteral("False"));
    row(
        "send an order",
        [](Proxy &proxy) {
            SpecialPackageRequest request;
            request.setOrder("reset");
            return proxy.SendRequestOrder(&request);
        },
        14, QStringLiteral("reset"));
}

} // namespace

class tst_ProxyCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void queuesACommandWhenRegistered_data();
    void queuesACommandWhenRegistered();
    void refusesACommandWhenNotRegistered_data();
    void refusesACommandWhenNotRegistered();
    void refusesAControllerWithoutAName_data();
    void refusesAControllerWithoutAName();
    void queuesTheSwitchAsFourBytes();
    void takesAnOrderUpToItsFirstZeroByte_data();
    void takesAnOrderUpToItsFirstZeroByte();
    void looksAtNoOrderWhenNotRegistered();
    void neitherKeepsNorCompletesAnOrder();
    void sendsACommandWithoutLookingAtTheRegistration();
    void passesAnyIdentifierThrough();
    void queuesInTheOrderOfTheCalls();
    void wakesWhoeverWaitsForWork();
    void makesADeviceExclusive_data();
    void makesADeviceExclusive();
    void putsCommandsOnTheWire();
};

void tst_ProxyCommands::queuesACommandWhenRegistered_data()
{
    addCommandRows();
}

void tst_ProxyCommands::queuesACommandWhenRegistered()
{
    QFETCH(Command, command);
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const TestProxy proxy;
    proxy->setRegisted(true);
    const LogCapture log;
    QVERIFY(command(*proxy));
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{id, text, bytes, nullptr}}));
}

void tst_ProxyCommands::refusesACommandWhenNotRegistered_data()
{
    addCommandRows();
}

void tst_ProxyCommands::refusesACommandWhenNotRegistered()
{
    QFETCH(Command, command);
    const TestProxy proxy;
    proxy->SendCommand(TarnEnum::RegisterClient, QStringLiteral("first"));
    const QList<Outgoing> before = proxy.sendQueue();
    const LogCapture log;
    QVERIFY(!command(*proxy));
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(proxy.sendQueue(), before);
}

void tst_ProxyCommands::refusesAControllerWithoutAName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("null") << QString();
}

void tst_ProxyCommands::refusesAControllerWithoutAName()
{
    QFETCH(QString, name);
    const TestProxy proxy;
    proxy->setRegisted(true);
    const LogCapture log;
    QVERIFY(!proxy->ConnectController(name));
    QVERIFY(log.lines().isEmpty());
    QVERIFY(proxy.sendQueue().isEmpty());
}

void tst_ProxyCommands::queuesTheSwitchAsFourBytes()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    QVERIFY(proxy->SetAutoConnectSwitch(true));
    QCOMPARE(proxy.sendQueue().size(), 1);
    QCOMPARE(proxy.sendQueue().first().bytes, QByteArray("\x54\x72\x75\x65"));
}

void tst_ProxyCommands::takesAnOrderUpToItsFirstZeroByte_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<QString>("text");
    QTest::newRow("a zero byte in the middle") << QByteArray("AB\0C", 4) << QStringLiteral("AB");
    QTest::newRow("no zero byte") << QByteArray("ABC") << QStringLiteral("ABC");
    QTest::newRow("a zero byte at the end") << QByteArray("AB\0", 3) << QStringLiteral("AB");
    QTest::newRow("a zero byte in front") << QByteArray("\0AB", 3) << QString();
    QTest::newRow("two zero bytes") << QByteArray("A\0B\0C", 5) << QStringLiteral("A");
    QTest::newRow("no bytes") << QByteArray("") << QString();
    QTest::newRow("no data at all") << QByteArray() << QString();
    QTest::newRow("UTF-8") << QByteArray("\xC3\xA9\xE4\xB8\xAD") << QStringLiteral("\u00E9\u4E2D");
    QTest::newRow("a zero byte after UTF-8")
        << QByteArray("\xC3\xA9\0\xC3\xA9", 5) << QStringLiteral("\u00E9");
    QTest::newRow("a byte that is not UTF-8") << QByteArray("A\xFF"
                                                            "B")
                                              << QStringLiteral("A\uFFFDB");
}

void tst_ProxyCommands::takesAnOrderUpToItsFirstZeroByte()
{
    QFETCH(QByteArray, order);
    QFETCH(QString, text);
    const TestProxy proxy;
    proxy->setRegisted(true);
    SpecialPackageRequest request;
    request.setOrder(order);
    QVERIFY(proxy->SendRequestOrder(&request));
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{14, text, text.toUtf8(), nullptr}}));
}

void tst_ProxyCommands::looksAtNoOrderWhenNotRegistered()
{
    const TestProxy proxy;
    QVERIFY(!proxy->SendRequestOrder(nullptr));
    QVERIFY(proxy.sendQueue().isEmpty());
}

void tst_ProxyCommands::neitherKeepsNorCompletesAnOrder()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    proxy->setRegisted(true);
    int completions = 0;
    {
        SpecialPackageRequest request;
        request.setOrder("reset");
        request.setCompletionHandler([&](void *, PackageBase *) { ++completions; });
        QVERIFY(proxy->SendRequestOrder(&request));
    }
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies(), QList<QByteArray>{"\x0Ereset"}, WaitLimitMs);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{nullptr});
    QCOMPARE(completions, 0);
}

void tst_ProxyCommands::sendsACommandWithoutLookingAtTheRegistration()
{
    const TestProxy proxy;
    QVERIFY(proxy->SendCommand(TarnEnum::RegisterClient, QString()));
    QVERIFY(proxy->SendCommand(TarnEnum::AutoConnectSwitch, QStringLiteral("maybe")));
    QCOMPARE(proxy.sendQueue(),
             (QList<Outgoing>{{0, QString(), QByteArray(), nullptr},
                              {19, QStringLiteral("maybe"), "maybe", nullptr}}));
}

void tst_ProxyCommands::passesAnyIdentifierThrough()
{
    const TestProxy proxy;
    for (const int id : {0x105, 255, -1, 99}) {
        QVERIFY(proxy->SendCommand(static_cast<TarnEnum::MessageIDs>(id), QString()));
        QCOMPARE(proxy.sendQueue().last().id, id);
    }
}

void tst_ProxyCommands::queuesInTheOrderOfTheCalls()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    QVERIFY(proxy->ConnectController());
    QVERIFY(proxy->CancelServerSend(QStringLiteral("key")));
    QVERIFY(proxy->ConnectController());
    QVERIFY(proxy->SetAutoConnectSwitch(false));
    QList<int> ids;
    const QList<Outgoing> queue = proxy.sendQueue();
    for (const Outgoing &entry : queue)
        ids.append(entry.id);
    QCOMPARE(ids, (QList<int>{4, 6, 4, 19}));
}

void tst_ProxyCommands::wakesWhoeverWaitsForWork()
{
    const TestProxy test;
    KVTServerMessageOldProxy &proxy = *test;
    QMutex &mutex = TestAccess::sendMutex(proxy);
    mutex.lock();
    const std::unique_ptr<QThread> producer(QThread::create(
        [&] { proxy.SendCommand(TarnEnum::CancelAllSends, QStringLiteral("work")); }));
    producer->start();
    // The append waits for the lock, which only the wait below gives up.
    const bool wasWoken = TestAccess::sendCondition(proxy).wait(&mutex, WaitLimitMs);
    const int size = TestAccess::sendList(proxy).size();
    mutex.unlock();
    QVERIFY(producer->wait(WaitLimitMs));
    QVERIFY(wasWoken);
    QCOMPARE(size, 1);
}

void tst_ProxyCommands::makesADeviceExclusive_data()
{
    QTest::addColumn<bool>("isRegistered");
    QTest::addColumn<bool>("exclusive");
    QTest::newRow("registered, on") << true << true;
    QTest::newRow("registered, off") << true << false;
    QTest::newRow("not registered, on") << false << true;
    QTest::newRow("not registered, off") << false << false;
}

void tst_ProxyCommands::makesADeviceExclusive()
{
    QFETCH(bool, isRegistered);
    QFETCH(bool, exclusive);
    const TestProxy proxy;
    proxy->setRegisted(isRegistered);
    bool argument = exclusive;
    const LogCapture log;
    QVERIFY(proxy->makeDeviceExclusive(QStringLiteral("COM1"), 9600, argument));
    QCOMPARE(argument, exclusive);
    QCOMPARE(log.count(QtCriticalMsg,
                       QStringLiteral("KVTServerMessageOldProxy::sendPacketData not support")),
             1);
    QCOMPARE(log.lines().size(), 1);
    const QString text = exclusive ? QStringLiteral("True") : QStringLiteral("False");
    QList<Outgoing> expected;
    if (isRegistered)
        expected.append({19, text, text.toUtf8(), nullptr});
    QCOMPARE(proxy.sendQueue(), expected);
}

void tst_ProxyCommands::putsCommandsOnTheWire()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    SpecialPackageRequest order;
    order.setOrder(QByteArray("\xC3\xA9\xE4\xB8\xAD\0never", 11));
    QVERIFY(proxy->ConnectController(QStringLiteral("k\u00E9\u4E2D")));
    QVERIFY(proxy->ConnectController());
    QVERIFY(proxy->CancelServerAllSend());
    QVERIFY(proxy->CancelServerSend(QStringLiteral("a/b")));
    QVERIFY(proxy->SendRequestOrder(&order));
    QVERIFY(proxy->SetAutoConnectSwitch(true));
    bool exclusive = false;
    QVERIFY(proxy->makeDeviceExclusive(QString(), 0, exclusive));
    // Latin-1 with "?" for what it does not have.
    const char all[] = "\1\0\0\0\0"
                       "\4\0\0\0\3k\xE9?"
                       "\1\0\0\0\4"
                       "\1\0\0\0\5"
                       "\4\0\0\0\6a/b"
                       "\3\0\0\0\x0E\xE9?"
                       "\5\0\0\0\x13True"
                       "\6\0\0\0\x13"
                       "False";
    QTRY_COMPARE_WITH_TIMEOUT(peer.received(), QByteArray(all, sizeof all - 1), WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_ProxyCommands)
#include "tst_ProxyCommands.moc"
