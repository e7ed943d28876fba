#include "ObjectCount.h"
#include "Pattern.h"
#include "RawClient.h"
#include "TestMain.h"

#include <QPointer>
#include <QSignalSpy>

#include <algorithm>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int BroadcastId = 18;
const QStringList Slow = {QStringLiteral("--latency"), QStringLiteral("300")};
const QStringList Never = {QStringLiteral("--latency"), QStringLiteral("60000")};

// Whether another client is told of that many writes, none of them to address 20.
bool hearsOfAllBut20(RawClient *other, int writes)
{
    if (!QTest::qWaitFor([&] { return other->count(BroadcastId) >= writes; }, WaitLimitMs))
        return false;
    const QList<QByteArray> written = other->texts(BroadcastId);
    return written.size() == writes
        && std::none_of(written.cbegin(), written.cend(), [](const QByteArray &text) {
               return fieldsOf(text).value("lowAddr") == "20";
           });
}

} // namespace

/// How a reply ends otherwise than by the server's answer: too late, aborted, deleted.
class tst_DeviceReplyEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timesOut();
    void timesOutBeforeItLeft();
    void dropsTheLateReplyAndItsMemory();
    void givesNoLateReplyToAnother();
    void neverSendsWhatIsAbortedBefore();
    void carriesOutWhatIsAbortedAfterwards();
    void abortsOnceOnly();
    void ignoresAnAbortAfterTheEnd();
    void isDeletedBeforeItLeft();
    void isDeletedUnderWay();
    void isDeletedBetweenTheReplyAndFinished();
    void isDeletedInsideFinished();
    void isDeletedWithTheSession();
    void mayTakeTheSessionWithIt();
};

void tst_DeviceReplyEnd::timesOut()
{
    SessionFixture f;
    QVERIFY(f.open(Never));
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, 0}, 4, 150));
    const QSignalSpy spy(reply.data(), &DeviceReply::finished);
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::TimedOut);
    QVERIFY2(reply->errorString().contains(QLatin1String("150 ms")),
             qPrintable(reply->errorString()));
    QVERIFY(reply->errorString().contains(Key));
    QVERIFY2(reply->elapsed() >= 150, qPrintable(QString::number(reply->elapsed())));
    QVERIFY(reply->serialNumber() != 0);
    QVERIFY(f.session.cancelAllRequests());
    const QScopedPointer<DeviceReply> other(f.session.read({Key, 0}, 4));
    QVERIFY(f.session.cancelAllRequests());
    QVERIFY(waitForEnd(*other));
    QCOMPARE(other->error(), Code::DeviceCancelled);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(reply->error(), Code::TimedOut);
}

void tst_DeviceReplyEnd::timesOutBeforeItLeft()
{
    SessionFixture f;
    QVERIFY(f.open());
    QList<DeviceReply *> before;
    for (int i = 0; i < 50; ++i)
        before.append(f.session.read({Key, 0}, 4));
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, 0}, 4, 50));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::TimedOut);
    QCOMPARE(reply->serialNumber(), 0U);
    QVERIFY(waitForEnd(*before.last()));
    for (const DeviceReply *const each : qAsConst(before))
        QCOMPARE(each->error(), Code::None);
}

// A package that stays would be one object for each. What the session keeps in stock is less.
void tst_DeviceReplyEnd::dropsTheLateReplyAndItsMemory()
{
    constexpr int requests = 100;
    // All of them leave, one every 10 ms or so, before the first times out, and that is before the
    // first reply comes.
    constexpr int TimeoutMs = 3500;
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("4000")}));
    ObjectCount::start();
    QList<DeviceReply *> replies;
    for (int i = 0; i < requests; ++i)
        replies.append(f.session.read({Key, 0}, 4, TimeoutMs));
    for (const DeviceReply *const reply : qAsConst(replies)) {
        QVERIFY(waitForEnd(*reply));
        QCOMPARE(reply->error(), Code::TimedOut);
        QVERIFY(reply->serialNumber() != 0);
    }
    QVERIFY(ObjectCount::alive() > requests);
    qDeleteAll(replies);
    // After the late ones.
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 4, WaitLimitMs));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(marker->error(), Code::None);
    QTRY_VERIFY2_WITH_TIMEOUT(ObjectCount::alive() < requests / 2,
                              qPrintable(QString::number(ObjectCount::alive())), WaitLimitMs);
}

void tst_DeviceReplyEnd::givesNoLateReplyToAnother()
{
    SessionFixture f;
    QVERIFY(f.open(Slow));
    QVERIFY(fillWithPattern(f.session, Key));
    QList<DeviceReply *> replies;
    for (int i = 0; i < 60; ++i)
        replies.append(
            f.session.read({Key, quint32(100 * i)}, 20, i % 2 == 0 ? WaitLimitMs : 200 + i));
    for (int i = 0; i < replies.size(); ++i) {
        QVERIFY(waitForEnd(*replies.at(i)));
        QCOMPARE(replies.at(i)->error(), i % 2 == 0 ? Code::None : Code::TimedOut);
        QCOMPARE(replies.at(i)->data(), i % 2 == 0 ? pattern(100 * i, 20) : QByteArray());
    }
}

void tst_DeviceReplyEnd::neverSendsWhatIsAbortedBefore()
{
    SessionFixture f;
    QVERIFY(f.open());
    RawClient other;
    QVERIFY(other.registerAtServer());
    QList<DeviceReply *> replies;
    for (int i = 0; i < 30; ++i)
        replies.append(f.session.write({Key, quint32(i)}, "x"));
    DeviceReply *const aborted = replies.takeAt(20);
    aborted->abort();
    QVERIFY(!aborted->isFinished());
    QVERIFY(waitForEnd(*aborted));
    QCOMPARE(aborted->error(), Code::Aborted);
    QCOMPARE(aborted->serialNumber(), 0U);
    QVERIFY(waitForEnd(*replies.last()));
    QVERIFY(hearsOfAllBut20(&other, replies.size()));
}

void tst_DeviceReplyEnd::carriesOutWhatIsAbortedAfterwards()
{
    SessionFixture f;
    QVERIFY(f.open(Slow + QStringList(QStringLiteral("--verbose"))));
    RawClient other;
    QVERIFY(other.registerAtServer());
    const QScopedPointer<DeviceReply> reply(f.session.write({Key, 20}, "x"));
    const QSignalSpy spy(reply.data(), &DeviceReply::finished);
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 20}, 1));
    QTRY_VERIFY_WITH_TIMEOUT(f.server.errors().contains(QLatin1String("lowAddr=20")), WaitLimitMs);
    reply->abort();
    QVERIFY(waitForEnd(*reply));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(reply->error(), Code::Aborted);
    QCOMPARE(marker->data(), QByteArray("x"));
    QTRY_COMPARE_WITH_TIMEOUT(other.count(BroadcastId), 1, WaitLimitMs);
    QCOMPARE(spy.count(), 1);
}

void tst_DeviceReplyEnd::abortsOnceOnly()
{
    SessionFixture f;
    QVERIFY(f.open(Never));
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, 0}, 4));
    const QSignalSpy spy(reply.data(), &DeviceReply::finished);
    reply->abort();
    reply->abort();
    f.session.close();
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(reply->error(), Code::Aborted);
}

void tst_DeviceReplyEnd::ignoresAnAbortAfterTheEnd()
{
    SessionFixture f;
    QVERIFY(f.open());
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, 0}, 4));
    const QSignalSpy spy(reply.data(), &DeviceReply::finished);
    connect(reply.data(), &DeviceReply::finished, reply.data(), &DeviceReply::abort);
    QVERIFY(waitForEnd(*reply));
    reply->abort();
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 4));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(reply->error(), Code::None);
    QCOMPARE(reply->data().size(), 4);
}

void tst_DeviceReplyEnd::isDeletedBeforeItLeft()
{
    SessionFixture f;
    QVERIFY(f.open());
    RawClient other;
    QVERIFY(other.registerAtServer());
    QList<DeviceReply *> replies;
    for (int i = 0; i < 30; ++i)
        replies.append(f.session.write({Key, quint32(i)}, "x"));
    delete replies.takeAt(20);
    QVERIFY(waitForEnd(*replies.last()));
    QVERIFY(hearsOfAllBut20(&other, replies.size()));
}

void tst_DeviceReplyEnd::isDeletedUnderWay()
{
    SessionFixture f;
    QVERIFY(f.open(Slow));
    DeviceReply *const reply = f.session.read({Key, 0}, 4);
    const QSignalSpy spy(reply, &DeviceReply::finished);
    QTRY_VERIFY_WITH_TIMEOUT(reply->serialNumber() != 0, WaitLimitMs);
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 4));
    delete reply;
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(marker->error(), Code::None);
    QCOMPARE(spy.count(), 0);
}

// An outcome stands, but finished has not come yet.
void tst_DeviceReplyEnd::isDeletedBetweenTheReplyAndFinished()
{
    SessionFixture f;
    QVERIFY(f.open());
    DeviceReply *const reply = f.session.read({QString(), 0}, 4);
    const QSignalSpy spy(reply, &DeviceReply::finished);
    QCOMPARE(reply->error(), Code::InvalidArgument);
    delete reply;
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 4));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(spy.count(), 0);
}

void tst_DeviceReplyEnd::isDeletedInsideFinished()
{
    SessionFixture f;
    QVERIFY(f.open());
    QPointer<DeviceReply> reply = f.session.read({Key, 0}, 4);
    int later = 0;
    connect(reply, &DeviceReply::finished, this, [&reply] { delete reply; });
    connect(reply, &DeviceReply::finished, this, [&later] { ++later; });
    QTRY_VERIFY_WITH_TIMEOUT(reply.isNull(), WaitLimitMs);
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 4));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(later, 0);
}

void tst_DeviceReplyEnd::isDeletedWithTheSession()
{
    ServerProcess server;
    QVERIFY(server.start(Never));
    auto session = std::make_unique<DeviceSession>();
    QVERIFY(session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(session->state(), State::Ready, WaitLimitMs);
    QList<QPointer<DeviceReply>> replies;
    for (int i = 0; i < 20; ++i)
        replies.append(session->read({Key, 0}, 4));
    int finished = 0;
    for (const QPointer<DeviceReply> &reply : qAsConst(replies))
        connect(reply, &DeviceReply::finished, this, [&finished] { ++finished; });
    QTRY_VERIFY_WITH_TIMEOUT(replies.at(5)->serialNumber() != 0, WaitLimitMs);
    session.reset();
    for (const QPointer<DeviceReply> &reply : qAsConst(replies))
        QVERIFY(reply.isNull());
    QCOMPARE(finished, 0);
}

void tst_DeviceReplyEnd::mayTakeTheSessionWithIt()
{
    ServerProcess server;
    QVERIFY(server.start());
    const QPointer<DeviceSession> session(new DeviceSession);
    QVERIFY(session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(session->state(), State::Ready, WaitLimitMs);
    DeviceReply *const reply = session->read({Key, 0}, 4);
    const QPointer<DeviceReply> other(session->read({Key, 0}, 4));
    connect(reply, &QObject::destroyed, this, [&] { delete session; });
    delete reply;
    QVERIFY(!session);
    QVERIFY(!other);
}

KSPROXY_TEST_MAIN(tst_DeviceReplyEnd)
#include "tst_DeviceReplyEnd.moc"
