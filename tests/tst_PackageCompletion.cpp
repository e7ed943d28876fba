#include "PackageBase.h"
#include "PackageRequestReadData.h"
#include "TestMain.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTest>

#include <memory>
#include <thread>

namespace {

PackageBase *const NoPackage = nullptr;

void runDeferredDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class tst_PackageCompletion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handsSenderAndReplyToTheHandler();
    void completesWithoutAHandler();
    void runsAHandlerOnce();
    void runsOnlyTheHandlerSetLast();
    void keepsAHandlerSetInsideTheHandler();
    void releasesTheHandlerAfterItRan();
    void runsTheHandlerOnTheCallingThread();
    void letsTheHandlersExceptionPass();
    void survivesAHandlerThatDeletesThePackage();
    void adoptsTheReply();
    void hasAdoptedTheReplyBeforeTheHandlerRuns();
    void doesNotAdoptItself();
    void keepsAReplyWhenCompletedWithItself();
    void releasesAReplyThatIsReplaced();
    void keepsAReplyThatComesTwice();
    void releasesTheReplyWhenNothingReplacesIt();
    void releasesTheReplyWhenCleared();
    void clearsWhatHasNoReply();
    void releasesTheReplyWhenDestroyed();
    void leavesATakenReplyToTheTaker();
    void forgetsAReplyThatSomeoneElseDeleted();
    void leavesTheHandlerWhenCleared();
};

void tst_PackageCompletion::handsSenderAndReplyToTheHandler()
{
    PackageRequestReadData request;
    PackageBase *const reply = new PackageBase;
    void *sender = nullptr;
    PackageBase *received = nullptr;
    request.setCompletionHandler([&](void *from, PackageBase *package) {
        sender = from;
        received = package;
    });
    request.CompleteRequestEvent(this, reply);
    QCOMPARE(sender, static_cast<void *>(this));
    QCOMPARE(received, reply);
    delete request.takeReply();
}

void tst_PackageCompletion::completesWithoutAHandler()
{
    PackageRequestReadData request;
    PackageBase *const reply = new PackageBase;
    request.CompleteRequestEvent(this, reply);
    QCOMPARE(request.takeReply(), reply);
    delete reply;
    request.setCompletionHandler(PackageBase::CompletionHandler());
    request.CompleteRequestEvent(nullptr, &request);
    QCOMPARE(request.takeReply(), NoPackage);
}

void tst_PackageCompletion::runsAHandlerOnce()
{
    PackageRequestReadData request;
    int calls = 0;
    request.setCompletionHandler([&](void *, PackageBase *) { ++calls; });
    for (int i = 0; i < 3; ++i)
        request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, 1);
}

void tst_PackageCompletion::runsOnlyTheHandlerSetLast()
{
    PackageRequestReadData request;
    QStringList calls;
    request.setCompletionHandler(
        [&](void *, PackageBase *) { calls.append(QStringLiteral("first")); });
    request.setCompletionHandler(
        [&](void *, PackageBase *) { calls.append(QStringLiteral("second")); });
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, QStringList{QStringLiteral("second")});
}

void tst_PackageCompletion::keepsAHandlerSetInsideTheHandler()
{
    PackageRequestReadData request;
    QStringList calls;
    const auto alive = std::make_shared<QString>(QStringLiteral("first"));
    request.setCompletionHandler([&request, &calls, alive](void *, PackageBase *) {
        request.setCompletionHandler(
            [&calls](void *, PackageBase *) { calls.append(QStringLiteral("second")); });
        // What the handler holds must outlive the one that replaces it.
        calls.append(*alive);
    });
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, QStringList{QStringLiteral("first")});
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls.size(), 2);
}

void tst_PackageCompletion::releasesTheHandlerAfterItRan()
{
    PackageRequestReadData request;
    const auto held = std::make_shared<int>(0);
    request.setCompletionHandler([held](void *, PackageBase *) { ++*held; });
    QCOMPARE(held.use_count(), 2L);
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(*held, 1);
    QCOMPARE(held.use_count(), 1L);
}

void tst_PackageCompletion::runsTheHandlerOnTheCallingThread()
{
    PackageRequestReadData request;
    std::thread::id caller;
    request.setCompletionHandler(
        [&](void *, PackageBase *) { caller = std::this_thread::get_id(); });
    std::thread thread([&] { request.CompleteRequestEvent(this, &request); });
    const std::thread::id expected = thread.get_id();
    thread.join();
    QVERIFY(caller == expected);
}

void tst_PackageCompletion::letsTheHandlersExceptionPass()
{
    PackageRequestReadData request;
    PackageBase *const reply = new PackageBase;
    int calls = 0;
    request.setCompletionHandler([&](void *, PackageBase *) {
        ++calls;
        throw QStringLiteral("thrown by the handler");
    });
    QString caught;
    try {
        request.CompleteRequestEvent(this, reply);
    } catch (const QString &text) {
        caught = text;
    }
    QCOMPARE(caught, QStringLiteral("thrown by the handler"));
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, 1);
    QCOMPARE(request.takeReply(), reply);
    delete reply;
}

void tst_PackageCompletion::survivesAHandlerThatDeletesThePackage()
{
    auto *const request = new PackageRequestReadData;
    const QPointer<PackageBase> guard(request);
    const QPointer<PackageBase> reply(new PackageBase);
    const auto held = std::make_shared<int>(0);
    request->setCompletionHandler([request, held](void *, PackageBase *) {
        delete request;
        ++*held;
    });
    request->CompleteRequestEvent(this, reply);
    QVERIFY(!guard);
    QCOMPARE(*held, 1);
    QCOMPARE(held.use_count(), 1L);
    runDeferredDeletes();
    QVERIFY(!reply);
}

void tst_PackageCompletion::adoptsTheReply()
{
    PackageRequestReadData request;
    PackageBase *const reply = new PackageBase;
    request.CompleteRequestEvent(this, reply);
    QCOMPARE(reply->parent(), static_cast<QObject *>(nullptr));
    QCOMPARE(request.takeReply(), reply);
    QCOMPARE(request.takeReply(), NoPackage);
    delete reply;
}

void tst_PackageCompletion::hasAdoptedTheReplyBeforeTheHandlerRuns()
{
    PackageRequestReadData request;
    PackageBase *const reply = new PackageBase;
    std::unique_ptr<PackageBase> taken;
    request.setCompletionHandler([&](void *, PackageBase *) { taken.reset(request.takeReply()); });
    request.CompleteRequestEvent(this, reply);
    QCOMPARE(taken.get(), reply);
    QCOMPARE(request.takeReply(), NoPackage);
}

void tst_PackageCompletion::doesNotAdoptItself()
{
    auto *const request = new PackageRequestReadData;
    const QPointer<PackageBase> guard(request);
    request->CompleteRequestEvent(this, request);
    QCOMPARE(request->takeReply(), NoPackage);
    PackageBase::clear(request);
    runDeferredDeletes();
    QVERIFY(guard);
    delete request;
}

void tst_PackageCompletion::keepsAReplyWhenCompletedWithItself()
{
    PackageRequestReadData request;
    const QPointer<PackageBase> reply(new PackageBase);
    request.CompleteRequestEvent(this, reply);
    request.CompleteRequestEvent(this, &request);
    runDeferredDeletes();
    QVERIFY(reply);
    QCOMPARE(request.takeReply(), reply.data());
    delete reply;
}

void tst_PackageCompletion::releasesAReplyThatIsReplaced()
{
    PackageRequestReadData request;
    const QPointer<PackageBase> first(new PackageBase);
    const QPointer<PackageBase> second(new PackageBase);
    request.CompleteRequestEvent(this, first);
    request.CompleteRequestEvent(this, second);
    QVERIFY(first); // only once control returns to the event loop
    runDeferredDeletes();
    QVERIFY(!first);
    QVERIFY(second);
    QCOMPARE(request.takeReply(), second.data());
    delete second;
}

void tst_PackageCompletion::keepsAReplyThatComesTwice()
{
    PackageRequestReadData request;
    const QPointer<PackageBase> reply(new PackageBase);
    request.CompleteRequestEvent(this, reply);
    request.CompleteRequestEvent(this, reply);
    runDeferredDeletes();
    QVERIFY(reply);
    QCOMPARE(request.takeReply(), reply.data());
    delete reply;
}

void tst_PackageCompletion::releasesTheReplyWhenNothingReplacesIt()
{
    PackageRequestReadData request;
    const QPointer<PackageBase> reply(new PackageBase);
    request.CompleteRequestEvent(this, reply);
    PackageBase *received = &request;
    request.setCompletionHandler([&](void *, PackageBase *package) { received = package; });
    request.CompleteRequestEvent(this, nullptr);
    QCOMPARE(received, NoPackage);
    QCOMPARE(request.takeReply(), NoPackage);
    runDeferredDeletes();
    QVERIFY(!reply);
}

void tst_PackageCompletion::releasesTheReplyWhenCleared()
{
    PackageRequestReadData request;
    const QPointer<PackageBase> reply(new PackageBase);
    request.CompleteRequestEvent(this, reply);
    PackageBase::clear(&request);
    QVERIFY(reply);
    QCOMPARE(request.takeReply(), NoPackage);
    runDeferredDeletes();
    QVERIFY(!reply);
}

void tst_PackageCompletion::clearsWhatHasNoReply()
{
    PackageBase::clear(nullptr);
    PackageRequestReadData request;
    request.setTag(QStringLiteral("kept"));
    PackageBase::clear(&request);
    PackageBase::clear(&request);
    QCOMPARE(request.getTag(), QStringLiteral("kept"));
}

void tst_PackageCompletion::releasesTheReplyWhenDestroyed()
{
    auto *const request = new PackageRequestReadData;
    const QPointer<PackageBase> reply(new PackageBase);
    request->CompleteRequestEvent(this, reply);
    delete request;
    QVERIFY(reply);
    runDeferredDeletes();
    QVERIFY(!reply);
}

void tst_PackageCompletion::leavesATakenReplyToTheTaker()
{
    auto *const request = new PackageRequestReadData;
    const QPointer<PackageBase> reply(new PackageBase);
    request->CompleteRequestEvent(this, reply);
    const std::unique_ptr<PackageBase> taken(request->takeReply());
    PackageBase::clear(request);
    delete request;
    runDeferredDeletes();
    QVERIFY(reply);
    QCOMPARE(taken.get(), reply.data());
}

void tst_PackageCompletion::forgetsAReplyThatSomeoneElseDeleted()
{
    PackageRequestReadData request;
    auto *const reply = new PackageBase;
    request.CompleteRequestEvent(this, reply);
    delete reply;
    QCOMPARE(request.takeReply(), NoPackage);
    PackageBase::clear(&request);
    request.CompleteRequestEvent(this, &request);
}

void tst_PackageCompletion::leavesTheHandlerWhenCleared()
{
    PackageRequestReadData request;
    int calls = 0;
    request.setCompletionHandler([&](void *, PackageBase *) { ++calls; });
    PackageBase::clear(&request);
    request.CompleteRequestEvent(this, &request);
    QCOMPARE(calls, 1);
}

KSPROXY_TEST_MAIN(tst_PackageCompletion)
#include "tst_PackageCompletion.moc"
