#include "RequestText.h"
#include "SteeredTest.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QTest>

class tst_SimulatorFaults : public SteeredTest
{
    Q_OBJECT

private Q_SLOTS:
    void changesTheBytesOfAReply_data();
    void changesTheBytesOfAReply();
    void dropsTheReplyOnce();
    void dropsUntilItIsCleared();
    void clearsOneFaultByItsNumber();
    void keepsToTheMessagesThatAreMeant_data();
    void keepsToTheMessagesThatAreMeant();
    void closesInTheMiddleOfAFrame();
    void sendsABroadcastWithoutAComma();
    void answersRegistrationsAsTold_data();
    void answersRegistrationsAsTold();
    void exitsWithoutAWord();
    void putsFaultsTogether();
    void goesOnReadingWhenTheRepliesAreDropped();

private:
    /// Sends a read request.
    void ask(int serial, const QByteArray &key = "COM1");
    /// The serial numbers of the replies that have arrived.
    QList<QByteArray> serials() const;
};

void tst_SimulatorFaults::ask(int serial, const QByteArray &key)
{
    m_client->send(7, readText(QByteArray::number(serial), key, 0, 1));
}

QList<QByteArray> tst_SimulatorFaults::serials() const
{
    QList<QByteArray> serials;
    const QList<QByteArray> replies = m_client->texts(11);
    for (const QByteArray &reply : replies)
        serials.append(fieldsOf(reply).value("serialNum"));
    return serials;
}

void tst_SimulatorFaults::changesTheBytesOfAReply_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray text(
        "serialNum=7;readWriteCode=0;clientPackageType=0;serverConnectionKey=COM1;"
        "deviceType=0;portAddr=0;scanBoardAddr=0;desAddr=0;scrAddr=0;highAddr=0;"
        "lowAddr=0;reserved2=0;timeout=0;tag=;commResult=0;dataLength=1;data=AA==");
    const QByteArray body = WireBytes::body(11, text);
    const auto withLength = [&](quint32 length) { return WireBytes::lengthField(length) + body; };
    const auto row = [](const char *name, const char *fault, const QByteArray &bytes) {
        QTest::newRow(name) << QByteArray(fault) << bytes;
    };
    row("none", "", WireBytes::frame(body));
    QByteArray other = text;
    row("wrong serial number", R"("fault":"wrongSerial")",
        WireBytes::message(11, other.replace("serialNum=7;", "serialNum=8;")));
    other = text;
    row("serial number below 0", R"("fault":"wrongSerial","difference":-8)",
        WireBytes::message(11, other.replace("serialNum=7;", "serialNum=18446744073709551615;")));
    row("unknown identifier", R"("fault":"unknownIdentifier")", WireBytes::message(99, text));
    row("a chosen identifier", R"("fault":"unknownIdentifier","id":255)",
        WireBytes::message(255, text));
    row("empty body", R"("fault":"emptyBody")", WireBytes::frame(""));
    row("sent twice", R"("fault":"repeat")", WireBytes::frame(body) + WireBytes::frame(body));
    row("length one too large", R"("fault":"length")",
        withLength(static_cast<quint32>(body.size()) + 1));
    row("length too small", R"("fault":"length","difference":-3)",
        withLength(static_cast<quint32>(body.size()) - 3));
    row("length 0", R"("fault":"length","field":0)", withLength(0));
    row("largest length", R"("fault":"length","field":2147483647)", withLength(0x7FFFFFFFU));
    row("smallest endless length", R"("fault":"length","field":2147483648)",
        withLength(0x80000000U));
    row("largest endless length", R"("fault":"length","field":4294967291)",
        withLength(0xFFFFFFFBU));
    row("first wrapping length", R"("fault":"length","field":4294967292)", withLength(0xFFFFFFFCU));
    row("second wrapping length", R"("fault":"length","field":4294967293)",
        withLength(0xFFFFFFFDU));
    row("third wrapping length", R"("fault":"length","field":4294967294)", withLength(0xFFFFFFFEU));
    row("fourth wrapping length", R"("fault":"length","field":4294967295)",
        withLength(0xFFFFFFFFU));
}

void tst_SimulatorFaults::changesTheBytesOfAReply()
{
    QFETCH(QByteArray, fault);
    QFETCH(QByteArray, bytes);
    if (!fault.isEmpty())
        QVERIFY(m_server->control.tell(R"({"do":"fault",)" + fault + '}'));
    ask(7);
    m_client->send(14, "identify"); // a sound message behind it
    QTRY_VERIFY_WITH_TIMEOUT(m_client->received().endsWith(",18"), WaitLimitMs);
    QCOMPARE(m_client->received().left(bytes.size()), bytes);
    const QList<QByteArray> rest = WireBytes::payloads(m_client->received().mid(bytes.size()));
    QCOMPARE(rest.size(), 1);
    QCOMPARE(rest.constFirst().at(0), char(18));
}

void tst_SimulatorFaults::dropsTheReplyOnce()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drop"})"));
    ask(1);
    ask(2);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), QList<QByteArray>{"2"}, WaitLimitMs);
}

void tst_SimulatorFaults::dropsUntilItIsCleared()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drop","count":"always"})"));
    for (int serial = 1; serial <= 20; ++serial)
        ask(serial);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->count(11), 0);
    QVERIFY(m_server->control.tell(R"({"do":"clear"})"));
    ask(21);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), QList<QByteArray>{"21"}, WaitLimitMs);
}

void tst_SimulatorFaults::clearsOneFaultByItsNumber()
{
    const QJsonObject first
        = m_server->control.call(R"({"do":"fault","fault":"drop","count":0,"key":"COM1"})");
    const QJsonObject second
        = m_server->control.call(R"({"do":"fault","fault":"emptyBody","count":3,"key":"COM1/1"})");
    QVERIFY(m_server->control.tell(R"({"do":"clear","number":1})"));
    QCOMPARE(first.value(QLatin1String("number")).toInt(), 1);
    QCOMPARE(second.value(QLatin1String("number")).toInt(), 2);
    ask(1);
    ask(2, "COM1/1");
    QTRY_VERIFY_WITH_TIMEOUT(m_client->received().endsWith(WireBytes::frame("")), WaitLimitMs);
    QCOMPARE(m_client->count(11), 1);
    const QJsonArray left
        = m_server->control.call(R"({"do":"faults"})").value(QLatin1String("faults")).toArray();
    QCOMPARE(left.size(), 1);
    QCOMPARE(left.at(0).toObject().value(QLatin1String("number")).toInt(), 2);
    QCOMPARE(left.at(0).toObject().value(QLatin1String("left")).toInt(), 2);
    QCOMPARE(left.at(0).toObject().value(QLatin1String("fault")).toString(),
             QStringLiteral("emptyBody"));
}

void tst_SimulatorFaults::keepsToTheMessagesThatAreMeant_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<QList<int>>("ids");
    // Each asks for a read of COM1, a write to COM1/1, a connection and an order.
    QTest::newRow("replies when nothing is said") << QByteArray() << QList<int>{5, 9, 18};
    QTest::newRow("replies") << QByteArray(R"(,"messages":"replies")") << QList<int>{5, 9, 18};
    QTest::newRow("notifications")
        << QByteArray(R"(,"messages":"notifications")") << QList<int>{11, 14, 18};
    QTest::newRow("broadcasts") << QByteArray(R"(,"messages":"broadcasts","count":1)")
                                << QList<int>{11, 14, 5, 9, 18};
    QTest::newRow("certain identifiers") << QByteArray(R"(,"ids":[14,9])") << QList<int>{11, 5, 18};
    QTest::newRow("replies of one key")
        << QByteArray(R"(,"key":"COM1/1")") << QList<int>{11, 5, 9, 18};
    QTest::newRow("everything of one key")
        << QByteArray(R"(,"key":"COM1","messages":"all")") << QList<int>{14, 18};
}

void tst_SimulatorFaults::keepsToTheMessagesThatAreMeant()
{
    QFETCH(QByteArray, filter);
    QFETCH(QList<int>, ids);
    const QByteArray count = filter.contains("count") ? "" : R"(,"count":0)";
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drop")" + count + filter + '}'));
    if (filter.contains("broadcasts"))
        m_client->send(14, "identify"); // used up by this one
    ask(1);
    m_client->send(10, writeText("2", "COM1/1", 0, "x"));
    m_client->send(3, "COM1");
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->ids(), ids);
}

void tst_SimulatorFaults::closesInTheMiddleOfAFrame()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"close","after":9})"));
    ask(1);
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QCOMPARE(m_client->receivedBytes(), 9);
    QVERIFY(isServed(&other));
}

void tst_SimulatorFaults::sendsABroadcastWithoutAComma()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"noComma"})"));
    ask(1); // no broadcast: not what is meant
    QVERIFY(isServed(m_client.data()));
    QVERIFY(isServed(m_client.data()));
    QVERIFY(m_client->texts(11).constFirst().contains("serialNum=1;"));
    const QList<QByteArray> broadcasts = m_client->texts(18);
    QVERIFY(!broadcasts.at(0).contains(','));
    QVERIFY(broadcasts.at(0).contains("tag=identify;"));
    QVERIFY(broadcasts.at(1).endsWith(",18"));
}

void tst_SimulatorFaults::answersRegistrationsAsTold_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QList<int>>("ids");
    QTest::newRow("rejected") << QByteArray(R"(,"answer":"reject")") << QList<int>{2, 0};
    QTest::newRow("rejected when nothing is said") << QByteArray() << QList<int>{2, 0};
    QTest::newRow("error") << QByteArray(R"(,"answer":"error")") << QList<int>{3, 0};
    QTest::newRow("silent") << QByteArray(R"(,"answer":"silent")") << QList<int>{0};
    QTest::newRow("twice") << QByteArray(R"(,"count":2)") << QList<int>{2, 2};
}

void tst_SimulatorFaults::answersRegistrationsAsTold()
{
    QFETCH(QByteArray, answer);
    QFETCH(QList<int>, ids);
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"register")" + answer + '}'));
    m_client->send(0);
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), ids, WaitLimitMs);
}

void tst_SimulatorFaults::exitsWithoutAWord()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"exit","code":9})"));
    ask(1);
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QVERIFY(m_server->process.waitForEnd());
    QCOMPARE(m_server->process.exitCode(), 9);
    QCOMPARE(m_client->receivedBytes(), 0);
}

void tst_SimulatorFaults::putsFaultsTogether()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"repeat","copies":3})"));
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"wrongSerial","difference":4})"));
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drip","bytes":50})"));
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"delay","ms":100})"));
    QElapsedTimer timer;
    timer.start();
    ask(1);
    ask(2);
    QTRY_COMPARE_WITH_TIMEOUT(serials(), (QList<QByteArray>{"5", "5", "5", "2"}), WaitLimitMs);
    QVERIFY(timer.elapsed() >= 100);
}

void tst_SimulatorFaults::goesOnReadingWhenTheRepliesAreDropped()
{
    QVERIFY(m_server->control.tell(R"({"do":"fault","fault":"drop","count":0})"));
    QVERIFY(m_server->control.tell(R"({"do":"latency","key":"COM1","ms":2000})"));
    for (int i = 0; i < 10; ++i) // 40 MB: more than may wait for one client
        m_client->send(10, writeText("1", "COM1", 0, QByteArray(3000000, 'x')));
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->ids(), QList<int>{18});
    QVERIFY(!m_server->process.errors().contains(QLatin1String("QObject")));
}

KSPROXY_TEST_MAIN(tst_SimulatorFaults)
#include "tst_SimulatorFaults.moc"
