#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QPointer>
#include <QTest>
#include <QThread>

#include <memory>

namespace {

/// What arrived with the broadcast signal, read while the reply was there.
struct Broadcast
{
    void *sender;
    QPointer<PackageBase> reply;
    QString kind; ///< read/write code and client package type
    quint64 serialNum;
    TarnEnum::CommResults result;
};

class BroadcastRecorder : public QObject
{
public:
    explicit BroadcastRecorder(KVTServerMessageOldProxy *proxy)
    {
        connect(proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
                [this](void *sender, const CompletePackageRequestEventArgs &args) {
                    const PackageBase &reply = *args.request();
                    broadcasts.append({sender, args.request(),
                                       QStringLiteral("%1/%2")
                                           .arg(reply.getReadWriteCode())
                                           .arg(reply.getClientPackageType()),
                                       reply.getSerialNum(), reply.getCommResult()});
                });
    }

    QList<Broadcast> broadcasts;
};

/// Queues a broadcast item with a text and bytes, as the dispatch makes it.
NotifyStruct *receiveBroadcast(const TestProxy &proxy, const QByteArray &text,
                               const QByteArray &bytes = QByteArray())
{
    proxy->ReceivedMessage(TarnEnum::BroadcastReply, QString::fromLatin1(text), bytes);
    return TestAccess::notifyList(*proxy).last();
}

const QString NotSupported
    = QStringLiteral("KVTServerMessageOldProxy::ParseCompleteRequest QByteArray not spport");

} // namespace

/// Replies that nobody here asked for.
class tst_ProxyBroadcasts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void raisesABroadcastOnce_data();
    void raisesABroadcastOnce();
    void releasesTheReplyFromTheEventLoop();
    void leavesPendingRequestsAlone();
    void dropsWhatItDoesNotRaise_data();
    void dropsWhatItDoesNotRaise();
    void goesOnAfterOneThatIsNotRaised();
    void letsAReceiverTerminate();
    void letsAReceiverDestroyTheProxy();
    void raisesOverTheSocket();
};

void tst_ProxyBroadcasts::raisesABroadcastOnce_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("serialNum"); // 0: the package's own, since the text had none
    QTest::addColumn<bool>("isBad");
    const auto row = [](const char *name, const QByteArray &text, const char *kind, int serialNum,
                        bool isBad) {
        QTest::newRow(name) << text << QByteArray() << QString::fromLatin1(kind) << serialNum
                            << isBad;
    };
    const QByteArray reply = replyText(7, "data");
    row("read data", reply + ",11", "0/0", 7, false);
    row("read file", reply + ",12", "0/1", 7, false);
    row("read memory data", reply + ",13", "0/2", 7, false);
    row("write data", reply + ",14", "1/0", 7, false);
    row("write file", reply + ",15", "1/1", 7, false);
    row("write memory data", reply + ",16", "-1/0", 7, false);
    row("a type above those", reply + ",18", "-1/0", 7, false);
    row("a negative type", reply + ",-11", "-1/0", 7, false);
    row("a type that is no number", reply + ",abc", "-1/0", 7, false);
    row("a hexadecimal type", reply + ",0xB", "-1/0", 7, false);
    row("a type beyond 32 bits", reply + ",4294967307", "-1/0", 7, false);
    row("no type", reply + ",", "-1/0", 7, false);
    row("a text that is no reply", "xyz,11", "0/0", 0, true);
    row("no text", ",14", "1/0", 0, true);
    row("a comma only", ",", "-1/0", 0, true);
    row("the last comma counts", "serialNum=7,12,11", "0/0", 0, true);
    // A comma in the bytes alone is enough; then the whole text is both the reply and its type.
    QTest::newRow("a comma in the bytes alone, a number as the text")
        << QByteArray("14") << QByteArray("a,b") << QStringLiteral("1/0") << 0 << true;
    QTest::newRow("a comma in the bytes alone, a reply as the text")
        << reply << QByteArray(",") << QStringLiteral("-1/0") << 7 << false;
}

void tst_ProxyBroadcasts::raisesABroadcastOnce()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, kind);
    QFETCH(int, serialNum);
    QFETCH(bool, isBad);
    const TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    const QPointer<NotifyStruct> item(receiveBroadcast(proxy, text, bytes));
    const LogCapture log;
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 1);
    const Broadcast &broadcast = recorder.broadcasts.first();
    QCOMPARE(broadcast.sender, static_cast<void *>(&*proxy));
    QCOMPARE(broadcast.kind, kind);
    if (serialNum != 0)
        QCOMPARE(broadcast.serialNum, static_cast<quint64>(serialNum));
    QCOMPARE(broadcast.result, isBad ? TarnEnum::BadReply : TarnEnum::Success);
    QVERIFY(!item);
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    QVERIFY(log.lines().isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(!broadcast.reply, WaitLimitMs);
    QCOMPARE(recorder.broadcasts.size(), 1);
}

void tst_ProxyBroadcasts::releasesTheReplyFromTheEventLoop()
{
    const TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    receiveBroadcast(proxy, "xyz,11");
    receiveBroadcast(proxy, "xyz,14");
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 2);
    QVERIFY(recorder.broadcasts.at(0).reply);
    QVERIFY(recorder.broadcasts.at(1).reply);
    QCOMPARE(recorder.broadcasts.at(0).reply->parent(), nullptr);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.broadcasts.at(0).reply && !recorder.broadcasts.at(1).reply,
                             WaitLimitMs);
}

void tst_ProxyBroadcasts::leavesPendingRequestsAlone()
{
    const TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    PackageRequestReadData request;
    int completions = 0;
    request.setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    TestAccess::requestList(*proxy).append(&request);
    receiveBroadcast(proxy, replyText(request.getSerialNum()) + ",11");
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 1);
    QCOMPARE(completions, 0);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{&request});
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyBroadcasts::dropsWhatItDoesNotRaise_data()
{
    QTest::addColumn<int>("packageType");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("lines");
    QTest::newRow("no comma") << 0 << replyText(7) << QByteArray() << 0;
    QTest::newRow("nothing at all") << 0 << QByteArray() << QByteArray() << 0;
    QTest::newRow("no comma in text and bytes") << 0 << QByteArray("x") << QByteArray("y") << 0;
    QTest::newRow("byte-array packages") << 1 << QByteArray() << QByteArray("xyz,11") << 1;
    QTest::newRow("byte-array packages, a zero byte in the type")
        << 1 << QByteArray() << QByteArray("xyz,1\0001", 7) << 1;
    QTest::newRow("byte-array packages, no type") << 1 << QByteArray() << QByteArray("xyz,") << 1;
    QTest::newRow("byte-array packages, no comma") << 1 << QByteArray() << QByteArray("xyz") << 0;
    QTest::newRow("byte-array packages, a comma in the text alone")
        << 1 << QByteArray("xyz,11") << QByteArray() << 1;
}

void tst_ProxyBroadcasts::dropsWhatItDoesNotRaise()
{
    QFETCH(int, packageType);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    QFETCH(int, lines);
    const TestProxy proxy;
    proxy->setPackageType(static_cast<TarnEnum::PackageType>(packageType));
    const BroadcastRecorder recorder(&*proxy);
    const QPointer<NotifyStruct> item(receiveBroadcast(proxy, text, bytes));
    const LogCapture log;
    proxy->NotifyThreadFun(false);
    QVERIFY(recorder.broadcasts.isEmpty());
    QCOMPARE(log.count(QtCriticalMsg, NotSupported), lines);
    QCOMPARE(log.lines().size(), lines);
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    // Not deleted, neither now nor by Terminate nor by the event loop.
    proxy->Terminate();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(item);
    QCOMPARE(item->strinfo(), QString::fromLatin1(text));
    delete item;
}

void tst_ProxyBroadcasts::goesOnAfterOneThatIsNotRaised()
{
    const TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    const std::unique_ptr<NotifyStruct> kept(receiveBroadcast(proxy, "no comma"));
    receiveBroadcast(proxy, "xyz,11");
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 1);
}

void tst_ProxyBroadcasts::letsAReceiverTerminate()
{
    const TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    connect(&*proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [&] { proxy->Terminate(); });
    receiveBroadcast(proxy, "xyz,11");
    const QPointer<NotifyStruct> second(receiveBroadcast(proxy, "xyz,11"));
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 1);
    QVERIFY(!second);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.broadcasts.first().reply, WaitLimitMs);
}

void tst_ProxyBroadcasts::letsAReceiverDestroyTheProxy()
{
    TestProxy proxy;
    const BroadcastRecorder recorder(&*proxy);
    connect(&*proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [&] { proxy.destroy(); });
    const QPointer<NotifyStruct> first(receiveBroadcast(proxy, "xyz,11"));
    const QPointer<NotifyStruct> second(receiveBroadcast(proxy, "xyz,11"));
    proxy->NotifyThreadFun(false);
    QCOMPARE(recorder.broadcasts.size(), 1);
    QVERIFY(!first);
    QVERIFY(!second);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.broadcasts.first().reply, WaitLimitMs);
}

void tst_ProxyBroadcasts::raisesOverTheSocket()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    const BroadcastRecorder recorder(&*proxy);
    peer.send(WireBytes::message(18, replyText(9) + ",14"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.broadcasts.size(), 1, WaitLimitMs);
    QCOMPARE(recorder.broadcasts.first().serialNum, quint64(9));
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.broadcasts.first().reply, WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_ProxyBroadcasts)
#include "tst_ProxyBroadcasts.moc"
