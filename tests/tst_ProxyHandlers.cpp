#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QEventLoop>
#include <QPointer>
#include <QTest>

#include <memory>
#include <new>
#include <stdexcept>

namespace {

/// Makes a request pending and queues the reply to it.
PackageRequestReadData *answeredRequest(const TestProxy &proxy)
{
    auto *const request = new PackageRequestReadData;
    TestAccess::requestList(*proxy).append(request);
    proxy->ReceivedMessage(TarnEnum::ReplyReadData,
                           QString::fromLatin1(replyText(request->getSerialNum(), "data")),
                           QByteArray());
    return request;
}

using Request = std::unique_ptr<PackageRequestReadData>;

} // namespace

/// What completion handlers may do, and what they must not but must survive.
class tst_ProxyHandlers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mayThrowAText();
    void passOnWhatElseTheyThrow();
    void passOnThatTheyRunOutOfMemory_data();
    void passOnThatTheyRunOutOfMemory();
    void mayKeepTheReply();
    void mayReleaseTheRequestLater();
    void mayDeleteTheRequest();
    void mayDestroyTheProxy();
    void mayDestroyTheProxyFromItsTick();
    void mayTerminate();
    void maySendAgain();
    void mayQueueMoreItems();
    void mayStopTheLoop();
    void mayRunAnEventLoop();
};

void tst_ProxyHandlers::mayThrowAText()
{
    const TestProxy proxy;
    const Request throwing(answeredRequest(proxy));
    const Request other(answeredRequest(proxy));
    const QPointer<NotifyStruct> item(TestAccess::notifyList(*proxy).first());
    QPointer<PackageBase> reply;
    int completions = 0;
    throwing->setCompletionHandler([&](void *, PackageBase *adopted) {
        reply = adopted;
        throw QStringLiteral("given up");
    });
    other->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    const LogCapture log;
    proxy->NotifyThreadFun(false);
    QCOMPARE(completions, 1);
    QVERIFY(!item);
    QVERIFY(log.lines().isEmpty());
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    // Cleared all the same.
    QVERIFY(reply);
    QVERIFY(throwing->takeReply() == nullptr);
    QTRY_VERIFY_WITH_TIMEOUT(!reply, WaitLimitMs);
}

void tst_ProxyHandlers::passOnWhatElseTheyThrow()
{
    const TestProxy proxy;
    const Request throwing(answeredRequest(proxy));
    const Request other(answeredRequest(proxy));
    int completions = 0;
    throwing->setCompletionHandler(
        [](void *, PackageBase *) { throw std::runtime_error("not a text"); });
    other->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    QVERIFY_EXCEPTION_THROWN(proxy->NotifyThreadFun(false), std::runtime_error);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{other.get()});
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
    proxy->NotifyThreadFun(false);
    QCOMPARE(completions, 1);
}

void tst_ProxyHandlers::passOnThatTheyRunOutOfMemory_data()
{
    QTest::addColumn<bool>("isAnswered");
    QTest::newRow("of a reply") << true;
    QTest::newRow("of a write that failed") << false;
}

void tst_ProxyHandlers::passOnThatTheyRunOutOfMemory()
{
    QFETCH(bool, isAnswered);
    const TestProxy proxy;
    const Request throwing(isAnswered ? answeredRequest(proxy) : new PackageRequestReadData);
    if (!isAnswered) {
        proxy->creatMsgClient();
        QVERIFY(proxy->SendPackageMessage(throwing.get()));
    }
    throwing->setCompletionHandler([](void *, PackageBase *) { throw std::bad_alloc(); });
    const LogCapture log;
    QVERIFY_EXCEPTION_THROWN(
        isAnswered ? proxy->NotifyThreadFun(false) : proxy->SendThreadFun(false), std::bad_alloc);
    QVERIFY(log.lines().isEmpty());
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
}

void tst_ProxyHandlers::mayKeepTheReply()
{
    const TestProxy proxy;
    const Request request(answeredRequest(proxy));
    QPointer<PackageBase> kept;
    request->setCompletionHandler([&](void *, PackageBase *) { kept = request->takeReply(); });
    proxy->NotifyThreadFun(false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(kept);
    QCOMPARE(kept->getData(), QByteArray("data"));
    delete kept;
}

void tst_ProxyHandlers::mayReleaseTheRequestLater()
{
    const TestProxy proxy;
    const QPointer<PackageRequestReadData> request(answeredRequest(proxy));
    QPointer<PackageBase> reply;
    request->setCompletionHandler([&](void *, PackageBase *adopted) {
        reply = adopted;
        request->deleteLater();
    });
    proxy->NotifyThreadFun(false);
    QVERIFY(request);
    QTRY_VERIFY_WITH_TIMEOUT(!request && !reply, WaitLimitMs);
}

void tst_ProxyHandlers::mayDeleteTheRequest()
{
    const TestProxy proxy;
    const QPointer<PackageRequestReadData> request(answeredRequest(proxy));
    const Request other(answeredRequest(proxy));
    QPointer<PackageBase> reply;
    int completions = 0;
    request->setCompletionHandler([&](void *, PackageBase *adopted) {
        reply = adopted;
        delete request;
    });
    other->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    proxy->NotifyThreadFun(false);
    QVERIFY(!request);
    QCOMPARE(completions, 1);
    QTRY_VERIFY_WITH_TIMEOUT(!reply, WaitLimitMs);
}

void tst_ProxyHandlers::mayDestroyTheProxy()
{
    TestProxy proxy;
    proxy->creatMsgClient();
    const Request request(answeredRequest(proxy));
    const QPointer<PackageBase> other(answeredRequest(proxy));
    const QPointer<NotifyStruct> first(TestAccess::notifyList(*proxy).first());
    const QPointer<NotifyStruct> second(TestAccess::notifyList(*proxy).last());
    int completions = 0;
    QPointer<PackageBase> reply;
    request->setCompletionHandler([&](void *, PackageBase *adopted) {
        ++completions;
        reply = adopted;
        proxy.destroy();
    });
    proxy->NotifyThreadFun(false);
    QCOMPARE(completions, 1);
    QVERIFY(!other);
    QVERIFY(!first);
    QVERIFY(!second);
    QTRY_VERIFY_WITH_TIMEOUT(!reply, WaitLimitMs);
}

void tst_ProxyHandlers::mayDestroyTheProxyFromItsTick()
{
    LocalPeer peer;
    TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    PackageRequestReadData request;
    request.setReadLength(1);
    const QPointer<QObject> guard(&*proxy);
    request.setCompletionHandler([&](void *, PackageBase *) { proxy.destroy(); });
    proxy->SendPackageMessage(&request);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1, WaitLimitMs);
    peer.send(WireBytes::message(11, replyText(request.getSerialNum())));
    QTRY_VERIFY_WITH_TIMEOUT(!guard, WaitLimitMs);
}

void tst_ProxyHandlers::mayTerminate()
{
    const TestProxy proxy;
    proxy->Initalize();
    const Request request(answeredRequest(proxy));
    const QPointer<PackageBase> other(answeredRequest(proxy));
    int completions = 0;
    request->setCompletionHandler([&](void *, PackageBase *) {
        ++completions;
        proxy->Terminate();
    });
    other->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    QTRY_COMPARE_WITH_TIMEOUT(completions, 1, WaitLimitMs);
    QVERIFY(!other); // it was pending still
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    QVERIFY(!TestAccess::isInitialised(*proxy));
    QCOMPARE(completions, 1);
}

void tst_ProxyHandlers::maySendAgain()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    PackageRequestReadData request;
    request.setReadLength(1);
    int rounds = 0;
    const std::function<void(void *, PackageBase *)> handler = [&](void *, PackageBase *) {
        if (++rounds == 3)
            return;
        request.setCompletionHandler(handler);
        QVERIFY(proxy->SendRequestReadData(&request));
    };
    request.setCompletionHandler(handler);
    QVERIFY(proxy->SendRequestReadData(&request));
    for (int round = 1; round <= 3; ++round) {
        QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1 + round, WaitLimitMs);
        peer.send(WireBytes::message(11, replyText(request.getSerialNum())));
        QTRY_COMPARE_WITH_TIMEOUT(rounds, round, WaitLimitMs);
    }
    QVERIFY(!TestAccess::requestList(*proxy).contains(&request));
}

void tst_ProxyHandlers::mayQueueMoreItems()
{
    const TestProxy proxy;
    const Request first(answeredRequest(proxy));
    Request second;
    int completions = 0;
    first->setCompletionHandler([&](void *, PackageBase *) {
        second.reset(answeredRequest(proxy));
        second->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    });
    proxy->NotifyThreadFun(false);
    QCOMPARE(completions, 1); // in the same drain
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
}

void tst_ProxyHandlers::mayStopTheLoop()
{
    const TestProxy proxy;
    const Request first(answeredRequest(proxy));
    const Request second(answeredRequest(proxy));
    int completions = 0;
    first->setCompletionHandler(
        [&](void *, PackageBase *) { TestAccess::notifyStop(*proxy) = true; });
    second->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    proxy->NotifyThreadFun(false);
    QCOMPARE(completions, 0);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyHandlers::mayRunAnEventLoop()
{
    const TestProxy proxy;
    proxy->Initalize();
    const Request first(answeredRequest(proxy));
    const Request second(answeredRequest(proxy));
    const Request third(answeredRequest(proxy));
    QStringList steps;
    QEventLoop loop;
    first->setCompletionHandler([&](void *, PackageBase *reply) {
        steps << QStringLiteral("first begins");
        loop.exec(); // the worker goes on ticking, so the next drain runs inside of this one
        steps << QStringLiteral("first ends, %1").arg(QString::fromLatin1(reply->getData()));
    });
    second->setCompletionHandler([&](void *, PackageBase *) { steps << QStringLiteral("second"); });
    third->setCompletionHandler([&](void *, PackageBase *) {
        steps << QStringLiteral("third");
        loop.quit();
    });
    QTRY_COMPARE_WITH_TIMEOUT(steps.size(), 4, WaitLimitMs);
    QCOMPARE(steps,
             (QStringList{QStringLiteral("first begins"), QStringLiteral("second"),
                          QStringLiteral("third"), QStringLiteral("first ends, data")}));
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
}

KSPROXY_TEST_MAIN(tst_ProxyHandlers)
#include "tst_ProxyHandlers.moc"
