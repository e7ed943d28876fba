#include "OpenDescriptors.h"
#include "SessionFixture.h"
#include "SteeredServer.h"
#include "TestMain.h"

#include <QJsonArray>

#include <malloc.h>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int RoundsBefore = 20; // whatever is made once is made by then
constexpr qint64 GrowthPerRound = 64; // bytes; less than any object that a round could leave behind

qint64 heapInUse()
{
    return static_cast<qint64>(mallinfo2().uordblks);
}

} // namespace

/// Opens and closes again and again, and nothing piles up.
class tst_SessionRounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void leavesNothingBehind_data();
    void leavesNothingBehind();
    void keepsNoDataOfUnansweredWrites();

private:
    static void goRound(DeviceSession *session);
    int clientsOfTheServer();

    SteeredServer m_server;
    int m_descriptors = 0; // before the first session
};

void tst_SessionRounds::initTestCase()
{
    QVERIFY(m_server.start());
    m_descriptors = openDescriptors();
}

void tst_SessionRounds::goRound(DeviceSession *session)
{
    QVERIFY(session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(session->state(), State::Ready, WaitLimitMs);
    const QScopedPointer<DeviceReply> reply(session->read({Key, 0}, 4));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::None);
    session->close();
}

int tst_SessionRounds::clientsOfTheServer()
{
    const QJsonObject status = m_server.control.call(R"({"do":"status"})");
    return status.value(QLatin1String("clients")).toArray().size();
}

void tst_SessionRounds::leavesNothingBehind_data()
{
    QTest::addColumn<bool>("isOneObject");
    QTest::addColumn<int>("rounds");
    QTest::newRow("one session") << true << KSPROXY_OPEN_ROUNDS;
    QTest::newRow("a new session each time") << false << KSPROXY_OPEN_ROUNDS / 5;
}

void tst_SessionRounds::leavesNothingBehind()
{
    QFETCH(bool, isOneObject);
    QFETCH(int, rounds);
    auto session = std::make_unique<DeviceSession>();
    const auto run = [&](int count) {
        for (int i = 0; i < count && !QTest::currentTestFailed(); ++i) {
            if (!isOneObject)
                session = std::make_unique<DeviceSession>();
            goRound(session.get());
        }
    };
    run(RoundsBefore);
    const int descriptors = openDescriptors();
    QVERIFY2(descriptors <= m_descriptors + 1, qPrintable(QString::number(descriptors)));
    const qint64 heap = heapInUse();
    run(rounds);
    const qint64 growth = heapInUse() - heap;
    qInfo("%d rounds: %d descriptors more, %lld bytes of heap more, %d clients at the server",
          rounds, openDescriptors() - m_descriptors, growth, clientsOfTheServer());
    QCOMPARE(openDescriptors(), descriptors);
    QCOMPARE(clientsOfTheServer(), 1);
#ifdef KSPROXY_MEASURES_HEAP
    QVERIFY2(growth < rounds * GrowthPerRound, qPrintable(QString::number(growth)));
#endif
}

void tst_SessionRounds::keepsNoDataOfUnansweredWrites()
{
#ifndef KSPROXY_MEASURES_HEAP
    QSKIP("the heap is the sanitizer's");
#endif
    constexpr int writes = 100;
    constexpr int bytes = 60000;
    DeviceSession session;
    QVERIFY(session.open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(session.state(), State::Ready, WaitLimitMs);
    QVERIFY(m_server.control.tell(R"({"do":"fault","key":"COM1","fault":"drop","count":0})"));
    const qint64 heap = heapInUse();
    QList<DeviceReply *> replies;
    for (int i = 0; i < writes; ++i)
        replies.append(session.write({Key, 0}, QByteArray(bytes, 'x'), 3000));
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

KSPROXY_TEST_MAIN(tst_SessionRounds)
#include "tst_SessionRounds.moc"
