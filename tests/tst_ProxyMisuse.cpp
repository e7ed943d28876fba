#include "LocalPeer.h"
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

/// What applications should not do, or seldom do, with a proxy and its packages: nothing is
/// corrupted.
class tst_ProxyMisuse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void letsASlotDeleteTheProxyWhileItRegisters_data();
    void letsASlotDeleteTheProxyWhileItRegisters();
    void letsASlotDeleteTheBroadcastReply();
    void deletesParentAndChildOnce_data();
    void deletesParentAndChildOnce();
    void releasesRepliesWhileTheBlockingLoopRuns();
    void takesAPlainCopyOfAWriteRequestForAnUnknownKind();
};

void tst_ProxyMisuse::letsASlotDeleteTheProxyWhileItRegisters_data()
{
    QTest::addColumn<bool>("isLater");
    QTest::newRow("at once") << false;
    QTest::newRow("with deleteLater") << true;
}

void tst_ProxyMisuse::letsASlotDeleteTheProxyWhileItRegisters()
{
    QFETCH(bool, isLater);
    LocalPeer peer;
    const QPointer<KVTServerMessageOldProxy> proxy(new KVTServerMessageOldProxy);
    proxy->creatMsgClient();
    const std::unique_ptr<MsgSocketClient> client(TestAccess::client(*proxy));
    QVERIFY(client->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    connect(proxy.data(), &IKVTServerBaseProxy::NotifyRegisterErrEvent, this, [&] {
        if (isLater)
            proxy->deleteLater();
        else
            delete proxy;
    });
    peer.send(WireBytes::message(3)); // waits in the socket for whoever serves events next
    QVERIFY(!proxy->Register(QString(), nullptr, QString()));
    QTRY_VERIFY_WITH_TIMEOUT(!proxy, WaitLimitMs);
}

void tst_ProxyMisuse::letsASlotDeleteTheBroadcastReply()
{
    const TestProxy proxy;
    int raised = 0;
    connect(&*proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [&](void *, const CompletePackageRequestEventArgs &args) {
                ++raised;
                delete args.request();
            });
    proxy->ReceivedMessage(TarnEnum::BroadcastReply, QStringLiteral("serialNum=1,14"),
                           QByteArray());
    proxy->ReceivedMessage(TarnEnum::BroadcastReply, QStringLiteral("serialNum=2,14"),
                           QByteArray());
    proxy->NotifyThreadFun(false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(raised, 2);
}

void tst_ProxyMisuse::deletesParentAndChildOnce_data()
{
    QTest::addColumn<bool>("isParentFirst");
    QTest::newRow("parent first") << true;
    QTest::newRow("child first") << false;
}

void tst_ProxyMisuse::deletesParentAndChildOnce()
{
    QFETCH(bool, isParentFirst);
    int parents = 0;
    int children = 0;
    const TestProxy proxy;
    auto *const parent = new CountedPackage<PackageBase>(&parents);
    auto *const child = new CountedPackage<PackageBase>(&children);
    child->setParent(parent);
    if (isParentFirst)
        TestAccess::requestList(*proxy) << parent << child << parent;
    else
        TestAccess::requestList(*proxy) << child << parent << child;
    proxy->Terminate();
    QCOMPARE(parents, 1);
    QCOMPARE(children, 1);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
}

void tst_ProxyMisuse::releasesRepliesWhileTheBlockingLoopRuns()
{
    const TestProxy proxy;
    std::atomic<int> destroyed{0};
    connect(
        &*proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
        [&](void *, const CompletePackageRequestEventArgs &args) {
            connect(
                args.request(), &QObject::destroyed, this, [&] { ++destroyed; },
                Qt::DirectConnection);
        },
        Qt::DirectConnection);
    const std::unique_ptr<QThread> loop(QThread::create([&] { proxy->notifyThreadProc(false); }));
    loop->start();
    for (int i = 0; i < 10; ++i)
        proxy->ReceivedMessage(TarnEnum::BroadcastReply, QStringLiteral("serialNum=1,14"),
                               QByteArray());
    QTRY_COMPARE_WITH_TIMEOUT(destroyed.load(), 10, WaitLimitMs);
    QVERIFY(loop->isRunning());
    proxy->Terminate();
    QVERIFY(loop->wait(WaitLimitMs));
}

void tst_ProxyMisuse::takesAPlainCopyOfAWriteRequestForAnUnknownKind()
{
    const TestProxy proxy;
    const PackageRequestWriteData write;
    PackageBase plain(write);
    auto id = TarnEnum::CancelOneSend;
    QString text = QStringLiteral("overwritten");
    proxy->ParseSendPackageInfo(&plain, &id, &text);
    QCOMPARE(id, TarnEnum::RequestReadData);
    QCOMPARE(text, QString());
}

KSPROXY_TEST_MAIN(tst_ProxyMisuse)
#include "tst_ProxyMisuse.moc"
