#include "Pattern.h"
#include "SteeredServer.h"
#include "TestMain.h"

#include <QSignalSpy>
#include <QThread>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int ShortMs = 300; // until a reply that never comes is given up
constexpr int InFlight = 8;
constexpr unsigned long BusyMs = 600; // until all replies wait to be read

} // namespace

/// The server misbehaves while the session is ready: what becomes of each reply, and that the
/// session goes on.
class tst_SessionFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void losesOneReplyOnly_data();
    void losesOneReplyOnly();
    void getsTheReplyAllTheSame_data();
    void getsTheReplyAllTheSame();
    void givesEachItsOwn_data();
    void givesEachItsOwn();
    void finishesInTheOrderOfReorderedReplies();
    void givesUpADelayedReply();
    void hearsNothingOfABroadcastWithoutAComma();
    void comesBackWhenTheConnectionEndsInAFrame();
    void comesBackWhenTheServerExitsWithoutAWord();
    void countsAStalledServerAsLost();
    void transfersUpToTheLostReply();

private:
    bool fault(const QByteArray &fields);
    bool isServed();
    QList<DeviceReply *> readSeveral();
    void compareWithPattern(const QList<DeviceReply *> &replies);

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<DeviceSession> m_session;
    QScopedPointer<SessionRecorder> m_recorder;
};

void tst_SessionFaults::init()
{
    m_server.reset(new SteeredServer);
    QVERIFY(m_server->start());
    m_session.reset(new DeviceSession);
    m_recorder.reset(new SessionRecorder(m_session.data()));
    QVERIFY(m_session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    QVERIFY(fillWithPattern(*m_session, Key));
}

void tst_SessionFaults::cleanup()
{
    m_recorder.reset();
    m_session.reset();
    m_server.reset();
}

// For the replies of one equipment unless the fields say otherwise: the session's own probes have
// another key.
bool tst_SessionFaults::fault(const QByteArray &fields)
{
    return m_server->control.tell(R"({"do":"fault","key":"COM1",)" + fields + '}');
}

bool tst_SessionFaults::isServed()
{
    const QScopedPointer<DeviceReply> reply(m_session->read({Key, 7}, 9));
    return waitForEnd(*reply) && reply->data() == pattern(7, 9);
}

QList<DeviceReply *> tst_SessionFaults::readSeveral()
{
    QList<DeviceReply *> replies;
    for (int i = 0; i < InFlight; ++i)
        replies.append(m_session->read({Key, quint32(100 * i)}, 20 + i));
    return replies;
}

void tst_SessionFaults::compareWithPattern(const QList<DeviceReply *> &replies)
{
    for (int i = 0; i < replies.size(); ++i) {
        QVERIFY(waitForEnd(*replies.at(i)));
        QCOMPARE(replies.at(i)->error(), Code::None);
        QCOMPARE(replies.at(i)->data(), pattern(100 * i, 20 + i));
    }
}

void tst_SessionFaults::losesOneReplyOnly_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::newRow("dropped") << QByteArray(R"("fault":"drop")");
    QTest::newRow("a serial number of nobody")
        << QByteArray(R"("fault":"wrongSerial","difference":1000000)");
    QTest::newRow("unknown identifier") << QByteArray(R"("fault":"unknownIdentifier")");
    QTest::newRow("negative identifier") << QByteArray(R"("fault":"unknownIdentifier","id":200)");
    QTest::newRow("reserved identifier") << QByteArray(R"("fault":"unknownIdentifier","id":17)");
    QTest::newRow("empty body") << QByteArray(R"("fault":"emptyBody")");
}

void tst_SessionFaults::losesOneReplyOnly()
{
    QFETCH(QByteArray, fields);
    QVERIFY(fault(fields));
    const QScopedPointer<DeviceReply> lost(m_session->read({Key, 0}, 4, ShortMs));
    const QSignalSpy spy(lost.data(), &DeviceReply::finished);
    compareWithPattern(readSeveral());
    QVERIFY(waitForEnd(*lost));
    QCOMPARE(lost->error(), Code::TimedOut);
    QVERIFY(isServed());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(m_session->state(), State::Ready);
}

void tst_SessionFaults::getsTheReplyAllTheSame_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::newRow("delayed") << QByteArray(R"("fault":"delay","ms":200)");
    QTest::newRow("byte by byte") << QByteArray(R"("fault":"drip")");
    QTest::newRow("cut in two") << QByteArray(R"("fault":"cut")");
    QTest::newRow("several in one write") << QByteArray(R"("fault":"coalesce","frames":8)");
}

void tst_SessionFaults::getsTheReplyAllTheSame()
{
    QFETCH(QByteArray, fields);
    QVERIFY(fault(fields + R"(,"count":2)"));
    compareWithPattern(readSeveral());
    compareWithPattern(readSeveral());
    QCOMPARE(m_session->state(), State::Ready);
}

void tst_SessionFaults::givesEachItsOwn_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::addColumn<bool>("isBurst");
    QTest::addColumn<bool>("hasCommands");
    const QByteArray twice(R"("fault":"repeat","count":0)");
    const QByteArray reordered(R"("fault":"reorder","frames":4,"count":2)");
    QTest::newRow("each twice") << twice << false << false;
    QTest::newRow("each twice, between commands") << twice << false << true;
    QTest::newRow("each twice, all at once") << twice << true << false;
    QTest::newRow("each twice, all at once, between commands") << twice << true << true;
    QTest::newRow("each four times")
        << QByteArray(R"("fault":"repeat","count":0,"copies":4)") << false << false;
    QTest::newRow("out of order") << reordered << false << false;
    QTest::newRow("out of order, all at once") << reordered << true << false;
}

void tst_SessionFaults::givesEachItsOwn()
{
    QFETCH(QByteArray, fields);
    QFETCH(bool, isBurst);
    QFETCH(bool, hasCommands);
    const auto spares = [this] {
        const QJsonObject status = m_server->control.call(R"({"do":"status"})");
        return status.value(QLatin1String("received")).toObject().value(QLatin1String("6")).toInt();
    };
    QTRY_VERIFY_WITH_TIMEOUT(spares() > InFlight, WaitLimitMs);
    QVERIFY(m_server->control.tell(R"({"do":"latency","key":"COM1","ms":400})"));
    QVERIFY(fault(fields));
    QList<DeviceReply *> replies;
    for (int i = 0; i < InFlight; ++i) {
        replies.append(m_session->read({Key, quint32(100 * i)}, 20 + i));
        if (hasCommands)
            QVERIFY(m_session->setAutoConnect(true));
    }
    QVERIFY(m_session->setAutoConnect(false));
    const auto hasReceivedAll = [this] {
        const QJsonObject status = m_server->control.call(R"({"do":"status"})");
        return !status.value(QLatin1String("automaticConnection")).toBool(true);
    };
    QTRY_VERIFY_WITH_TIMEOUT(hasReceivedAll(), WaitLimitMs);
    if (isBurst)
        QThread::msleep(BusyMs); // as an application does that computes
    compareWithPattern(replies);
    QVERIFY(isServed());
}

void tst_SessionFaults::finishesInTheOrderOfReorderedReplies()
{
    QVERIFY(fault(R"("fault":"reorder","frames":3)"));
    QString order;
    for (const char name : {'a', 'b', 'c', 'd'})
        connect(m_session->read({Key, 0}, 4), &DeviceReply::finished, this,
                [&order, name] { order += QLatin1Char(name); });
    QTRY_COMPARE_WITH_TIMEOUT(order, QStringLiteral("cbad"), WaitLimitMs);
}

void tst_SessionFaults::givesUpADelayedReply()
{
    QVERIFY(fault(R"("fault":"delay","ms":600)"));
    const QScopedPointer<DeviceReply> late(m_session->read({Key, 0}, 4, ShortMs));
    const QSignalSpy spy(late.data(), &DeviceReply::finished);
    compareWithPattern(readSeveral()); // they wait behind the late one
    QCOMPARE(late->error(), Code::TimedOut);
    QCOMPARE(spy.count(), 1);
}

void tst_SessionFaults::hearsNothingOfABroadcastWithoutAComma()
{
    QVERIFY(fault(R"("fault":"noComma")"));
    QVERIFY(m_server->control.tell(R"({"do":"broadcast","key":"COM1","hex":"41"})"));
    QVERIFY(m_server->control.tell(R"({"do":"broadcast","key":"COM1","hex":"42"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->count(QStringLiteral("broadcast COM1 B")), 1,
                              WaitLimitMs);
    QCOMPARE(m_recorder->count(QStringLiteral("broadcast COM1 A")), 0);
}

void tst_SessionFaults::comesBackWhenTheConnectionEndsInAFrame()
{
    QVERIFY(fault(R"("fault":"close")"));
    const QList<DeviceReply *> replies = readSeveral();
    for (const DeviceReply *const reply : replies) {
        QVERIFY(waitForEnd(*reply));
        QCOMPARE(reply->error(), Code::ConnectionLost);
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    QVERIFY(isServed());
}

void tst_SessionFaults::comesBackWhenTheServerExitsWithoutAWord()
{
    const QList<DeviceReply *> replies = readSeveral();
    QVERIFY(m_server->control.tell(R"({"do":"exit","goodbye":false})"));
    for (const DeviceReply *const reply : replies)
        QVERIFY(waitForEnd(*reply));
    QCOMPARE(replies.last()->error(), Code::ConnectionLost);
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->count(QStringLiteral("state Lost")), 1, WaitLimitMs);
    QVERIFY(m_server->process.waitForEnd());
    QVERIFY(m_server->process.start());
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
}

void tst_SessionFaults::countsAStalledServerAsLost()
{
    SessionOptions options = SessionFixture::options();
    options.silenceLimitMs = 1200;
    m_session->close();
    QVERIFY(m_session->open(options));
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    QVERIFY(m_server->control.tell(R"({"do":"stall"})"));
    const QScopedPointer<DeviceReply> impatient(m_session->read({Key, 0}, 4, ShortMs));
    const QScopedPointer<DeviceReply> patient(m_session->read({Key, 0}, 4));
    QVERIFY(waitForEnd(*impatient));
    QCOMPARE(impatient->error(), Code::TimedOut);
    QCOMPARE(m_session->state(), State::Ready);
    QVERIFY(waitForEnd(*patient));
    QCOMPARE(patient->error(), Code::ConnectionLost);
    QVERIFY(m_session->state() != State::Ready);
    QVERIFY(m_server->control.tell(R"({"do":"release"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    QVERIFY(isServed());
}

// What comes after the gap does not count.
void tst_SessionFaults::transfersUpToTheLostReply()
{
    DeviceTransfer transfer(m_session.data());
    transfer.setChunkBytes(100);
    transfer.setRequestTimeout(2 * ShortMs);
    connect(&transfer, &DeviceTransfer::progress, this, [this](qint64 done) {
        if (done == 500)
            QVERIFY(fault(R"("fault":"drop")"));
    });
    transfer.read({Key, 0}, 50 * 100);
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::TimedOut);
    const int bytes = transfer.transferredBytes();
    QVERIFY2(bytes >= 500 && bytes < 50 * 100, qPrintable(QString::number(bytes)));
    QCOMPARE(transfer.data(), pattern(0, bytes));
}

KSPROXY_TEST_MAIN(tst_SessionFaults)
#include "tst_SessionFaults.moc"
