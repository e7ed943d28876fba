#include "RequestText.h"
#include "SteeredTest.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QTest>

/// Faults that change when messages leave and in what company, not what stands in them.
class tst_SimulatorTiming : public SteeredTest
{
    Q_OBJECT

private Q_SLOTS:
    void delaysAReplyAndWhatFollowsIt();
    void delaysByAnythingUpToTheJitter();
    void dripsByteByByte();
    void cutsAFrameInTwo();
    void sendsSeveralFramesInOneWrite();
    void sendsRepliesOutOfOrder();
    void sendsWhatItHoldsWhenNothingFollows();
    void holdsDifferentMessagesApart();
    void stallsForATime();
    void stallsAtAReplyUntilReleased();
    void keepsOthersFreeOfAPieceThatWaits();
    void dropsAStalledClientForWhomTooMuchWaits();

private:
    /// Sends a read request.
    void ask(int serial, const QByteArray &key = "COM1");
    /// The serial numbers of the replies that have arrived.
    QList<QByteArray> serials() const;
};

void tst_SimulatorTiming::ask(int serial, const QByteArray &key)
{
    m_client->send(7, readText(QByteArray::number(serial), key, 0, 1));
}

QList<QByteArray> tst_SimulatorTiming::serials() const
{
    QList<QByteArray> serials;
    const QList<QByteArray> replies = m_client->texts(11);
    for (const QByteArray &reply : replies)
        serials.append(fieldsOf(reply).value("serialNum"));
    return serials;
}

void tst_SimulatorTiming::delaysAReplyAndWhatFollowsIt()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"delay","ms":200})"));
    QElapsedTimer timer;
    timer.start();
    ask(1);
    ask(2);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"1", "2"}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 200);
}

void tst_SimulatorTiming::delaysByAnythingUpToTheJitter()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"jitter","ms":60,"count":30})"));
    QElapsedTimer timer;
    timer.start();
    for (int serial = 1; serial <= 30; ++serial)
        ask(serial);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 30, WaitLimitMs);
    // The seed is fixed, and the longest of these delays is far over 20 ms.
    QVERIFY(timer.elapsed() >= 20);
    QCOMPARE(serials().constFirst(), QByteArray("1"));
    QCOMPARE(serials().constLast(), QByteArray("30"));
}

void tst_SimulatorTiming::dripsByteByByte()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drip","ms":2})"));
    QElapsedTimer timer;
    timer.start();
    ask(1);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 2 * (m_client->receivedBytes() - 1));
    QVERIFY(m_client->pieces().size() > 1);
}

void tst_SimulatorTiming::cutsAFrameInTwo()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"cut","after":10,"ms":1000})"));
    QElapsedTimer timer;
    timer.start();
    ask(1);
    ask(2); // waits behind it
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"1", "2"}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 1000);
    QCOMPARE(m_client->pieces().constFirst().size(), 10);
}

void tst_SimulatorTiming::sendsSeveralFramesInOneWrite()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"coalesce","frames":3,"ms":600000})"));
    ask(1);
    ask(2);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->ids(), QList<int>{18});
    m_client->clear();
    ask(3);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"1", "2", "3"}), WaitLimitMs);
    QCOMPARE(m_client->pieces().size(), 1);
    ask(4);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 4, WaitLimitMs);
}

void tst_SimulatorTiming::sendsRepliesOutOfOrder()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"reorder","frames":3,"ms":600000})"));
    for (int serial = 1; serial <= 4; ++serial)
        ask(serial);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"3", "2", "1", "4"}), WaitLimitMs);
}

void tst_SimulatorTiming::sendsWhatItHoldsWhenNothingFollows()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"reorder","frames":3,"ms":50})"));
    ask(1);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), QList<QByteArray>{"1"}, WaitLimitMs);
}

void tst_SimulatorTiming::holdsDifferentMessagesApart()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"reorder","ms":600000})"));
    QVERIFY(m_server->control.tell(
        R"({"do":"fault","fault":"coalesce","ms":600000,"messages":"notifications"})"));
    ask(1);
    m_client->send(3, "COM1");
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9}), WaitLimitMs);
    ask(2);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"2", "1"}), WaitLimitMs);
}

void tst_SimulatorTiming::stallsForATime()
{
    QElapsedTimer timer;
    timer.start();
    QVERIFY(m_server->control.tell(R"({"do":"stall","ms":300})"));
    RawClient newcomer;
    QVERIFY(newcomer.connectToServer());
    newcomer.send(0);
    ask(1);
    QTRY_COMPARE_WITH_TIMEOUT(newcomer.count(0), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 300);
}

void tst_SimulatorTiming::stallsAtAReplyUntilReleased()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"stall"})"));
    ask(1);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->control.call(R"({"do":"status"})")
                                 .value(QLatin1String("clients"))
                                 .toArray()
                                 .at(0)
                                 .toObject()
                                 .value(QLatin1String("stalled"))
                                 .toBool(),
                             WaitLimitMs);
    ask(2);
    QVERIFY(isServed(&other)); // the stall is the one client's
    QCOMPARE(m_client->receivedBytes(), 0);
    QVERIFY(m_server->control.tell(R"({"do":"release"})"));
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"1", "2"}), WaitLimitMs);
}

void tst_SimulatorTiming::keepsOthersFreeOfAPieceThatWaits()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"delay","ms":600000})"));
    ask(1);
    QVERIFY(isServed(&other));
    QVERIFY(isServed(&other));
    QCOMPARE(m_client->receivedBytes(), 0);
}

void tst_SimulatorTiming::dropsAStalledClientForWhomTooMuchWaits()
{
    QVERIFY(m_server->control.tell(R"({"do":"stall","client":1})"));
    RawClient writer;
    QVERIFY(writer.registerAtServer());
    for (int i = 0; i < 900; ++i) // each becomes a broadcast of over 80,000 bytes: 68 MiB
        writer.send(10, writeText("1", "COM1", 0, QByteArray(60000, 'x')));
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QVERIFY(m_server->process.errors().contains(QLatin1String("client 1 does not read")));
    QTRY_COMPARE_WITH_TIMEOUT(writer.count(14), 900, WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_SimulatorTiming)
#include "tst_SimulatorTiming.moc"
