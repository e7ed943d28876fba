#include "DeviceTransfer.h"
#include "LogCapture.h"
#include "ObjectCount.h"
#include "OpenDescriptors.h"
#include "Pattern.h"
#include "RawClient.h"
#include "SessionFixture.h"
#include "SteeredServer.h"
#include "TestMain.h"

#include <QJsonArray>
#include <QProcess>
#include <QThread>

#include <malloc.h>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");

/// Reads at several places and looks whether each is what stands there.
bool readsThePattern(DeviceSession &session, int first)
{
    QList<DeviceReply *> replies;
    for (int i = 0; i < 20; ++i)
        replies.append(session.read({Key, quint32(first + 50 * i)}, 10 + i));
    bool isWell = true;
    for (int i = 0; i < replies.size(); ++i)
        isWell = waitForEnd(*replies.at(i))
            && replies.at(i)->data() == pattern(first + 50 * i, 10 + i) && isWell;
    qDeleteAll(replies);
    return isWell;
}

qint64 heapInUse()
{
    return static_cast<qint64>(mallinfo2().uordblks);
}

} // namespace

/// Sessions beside each other, on other threads, after the application; and what many losses and
/// many requests leave behind.
class tst_SessionSurroundings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void worksBesideAnother();
    void worksOnAThreadOfItsOwn();
    void answersAnotherThreadNothing();
    void outlivesTheApplication();
    void hearsNothingOfWhatWasWhileItWasClosed();
    void keepsItsConnectionWhenTheRegistrationEnds();
    void timesOutThousandsOfQueuedRequests();
    void keepsNoDataOfUnansweredWrites();

private:
    bool open(DeviceSession *session);

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<DeviceSession> m_session;
};

void tst_SessionSurroundings::init()
{
    m_server.reset(new SteeredServer);
    QVERIFY(m_server->start());
    m_session.reset(new DeviceSession);
    QVERIFY(open(m_session.data()));
    QVERIFY(fillWithPattern(*m_session, Key));
}

void tst_SessionSurroundings::cleanup()
{
    m_session.reset();
    m_server.reset();
}

bool tst_SessionSurroundings::open(DeviceSession *session)
{
    return session->open(SessionFixture::options())
        && QTest::qWaitFor([&] { return session->state() == State::Ready; }, WaitLimitMs);
}

void tst_SessionSurroundings::worksBesideAnother()
{
    DeviceSession other;
    QVERIFY(open(&other));
    QList<DeviceReply *> replies;
    for (int i = 0; i < 100; ++i)
        replies.append((i % 2 == 0 ? *m_session : other).read({Key, quint32(70 * i)}, 1 + i));
    for (int i = 0; i < 50; ++i)
        QVERIFY(waitForEnd(*replies.at(i)));
    other.close();
    for (int i = 0; i < replies.size(); ++i) {
        const DeviceReply *const reply = replies.at(i);
        QVERIFY(waitForEnd(*reply));
        if (i % 2 == 0 || i < 50)
            QCOMPARE(reply->data(), pattern(70 * i, 1 + i));
        else
            QVERIFY(reply->error() == Code::None || reply->error() == Code::SessionClosed);
    }
    QVERIFY(readsThePattern(*m_session, 0));
}

void tst_SessionSurroundings::worksOnAThreadOfItsOwn()
{
    bool isWell = false;
    const QScopedPointer<QThread> thread(QThread::create([this, &isWell] {
        DeviceSession session;
        isWell = open(&session) && readsThePattern(session, 5000);
        session.close();
        isWell = isWell && open(&session) && readsThePattern(session, 7000);
    }));
    thread->start();
    QVERIFY(readsThePattern(*m_session, 0));
    QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), WaitLimitMs);
    QVERIFY(isWell);
    QVERIFY(readsThePattern(*m_session, 1000));
}

void tst_SessionSurroundings::answersAnotherThreadNothing()
{
    DeviceReply *const reply = m_session->read({Key, 0}, 4);
    DeviceTransfer transfer(m_session.data());
    transfer.read({Key, 0}, 4);
    QVERIFY(waitForEnd(*reply));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.isFinished(), WaitLimitMs);
    const LogCapture log;
    bool isNothing = false;
    const QScopedPointer<QThread> thread(QThread::create([&] {
        transfer.abort();
        reply->abort();
        isNothing = !reply->isFinished() && reply->data().isEmpty() && reply->serialNumber() == 0
            && reply->elapsed() == 0 && reply->address().key.isEmpty()
            && reply->error() == Code::WrongThread && !reply->errorString().isEmpty()
            && !transfer.isFinished() && transfer.data().isEmpty()
            && transfer.transferredBytes() == 0 && transfer.verifiedBytes() == 0
            && transfer.error() == Code::WrongThread && !transfer.errorString().isEmpty();
    }));
    thread->start();
    QVERIFY(thread->wait(WaitLimitMs));
    QVERIFY(isNothing);
    QCOMPARE(log.texts(QtWarningMsg).size(), 15);
    QCOMPARE(reply->data().size(), 4);
    QCOMPARE(transfer.data(), reply->data());
}

void tst_SessionSurroundings::outlivesTheApplication()
{
    QProcess program;
    program.start(QStringLiteral(KSPROXY_OUTLIVING_SESSION), QStringList());
    QVERIFY(program.waitForFinished(WaitLimitMs));
    QVERIFY2(program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0,
             program.readAllStandardError().constData());
}

void tst_SessionSurroundings::hearsNothingOfWhatWasWhileItWasClosed()
{
    const SessionRecorder recorder(m_session.data());
    RawClient other;
    QVERIFY(other.registerAtServer());
    m_session->close();
    for (const QByteArray hex : {"41", "42", "43"})
        QVERIFY(
            m_server->control.tell(R"({"do":"broadcast","key":"COM1","hex":")" + hex + R"("})"));
    QTRY_COMPARE_WITH_TIMEOUT(other.count(18), 3, WaitLimitMs);
    QVERIFY(open(m_session.data()));
    QVERIFY(m_server->control.tell(R"({"do":"broadcast","key":"COM1","hex":"44"})"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.count(QStringLiteral("broadcast COM1 D")), 1, WaitLimitMs);
    QCOMPARE(recorder.all().filter(QStringLiteral("broadcast")).size(), 1);
}

// The connection still stands then, and the session goes on with it.
void tst_SessionSurroundings::keepsItsConnectionWhenTheRegistrationEnds()
{
    const int descriptors = openDescriptors();
    const SessionRecorder recorder(m_session.data());
    constexpr int rounds = 10;
    for (int i = 1; i <= rounds; ++i) {
        QVERIFY(m_server->control.tell(R"({"do":"notify","id":1})"));
        QTRY_COMPARE_WITH_TIMEOUT(recorder.states().count(QStringLiteral("Ready")), i, WaitLimitMs);
        QVERIFY(readsThePattern(*m_session, i));
    }
    QCOMPARE(recorder.states().count(QStringLiteral("Lost")), rounds);
    QCOMPARE(openDescriptors(), descriptors);
    const QJsonObject status = m_server->control.call(R"({"do":"status"})");
    QCOMPARE(status.value(QLatin1String("clients")).toArray().size(), 1);
}

void tst_SessionSurroundings::timesOutThousandsOfQueuedRequests()
{
    constexpr int requests = 5000;
    constexpr int timeoutMs = 300;
    ObjectCount::start();
    int finished = 0;
    QList<DeviceReply *> replies;
    for (int i = 0; i < requests; ++i) {
        replies.append(m_session->read({Key, 0}, 4, timeoutMs));
        connect(replies.last(), &DeviceReply::finished, this, [&finished] { ++finished; });
    }
    QTRY_COMPARE_WITH_TIMEOUT(finished, requests, WaitLimitMs);
    for (const DeviceReply *const reply : qAsConst(replies)) {
        QVERIFY(reply->error() == Code::None || reply->error() == Code::TimedOut);
        QVERIFY2(reply->error() == Code::None || reply->elapsed() >= timeoutMs,
                 qPrintable(QString::number(reply->elapsed())));
    }
    QCOMPARE(replies.last()->error(), Code::TimedOut);
    qDeleteAll(replies);
    QVERIFY(readsThePattern(*m_session, 0));
    QCOMPARE(finished, requests);
    QTRY_VERIFY2_WITH_TIMEOUT(ObjectCount::alive() < requests / 50,
                              qPrintable(QString::number(ObjectCount::alive())), WaitLimitMs);
}

void tst_SessionSurroundings::keepsNoDataOfUnansweredWrites()
{
#ifndef KSPROXY_MEASURES_HEAP
    QSKIP("the heap is the sanitizer's");
#endif
    constexpr int writes = 100;
    constexpr int bytes = 60000;
    QVERIFY(m_server->control.tell(R"({"do":"fault","key":"COM1","fault":"drop","count":0})"));
    const qint64 heap = heapInUse();
    QList<DeviceReply *> replies;
    for (int i = 0; i < writes; ++i)
        replies.append(m_session->write({Key, 0}, QByteArray(bytes, 'x'), 3000));
    for (const DeviceReply *const reply : qAsConst(replies)) {
        QVERIFY(waitForEnd(*reply));
        QCOMPARE(reply->error(), Code::TimedOut);
        QVERIFY(reply->serialNumber() != 0);
    }
    qDeleteAll(replies);
    const qint64 growth = heapInUse() - heap;
    qInfo("%d unanswered writes of %d bytes: %lld bytes of heap more", writes, bytes, growth);
    QVERIFY2(growth < writes * bytes / 10, qPrintable(QString::number(growth)));
}

KSPROXY_TEST_MAIN(tst_SessionSurroundings)
#include "tst_SessionSurroundings.moc"
