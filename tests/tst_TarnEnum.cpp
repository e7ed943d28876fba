#include "TarnEnum.h"
#include "TestMain.h"

#include <QTest>

#include <type_traits>

Q_DECLARE_METATYPE(TarnEnum::MessageIDs)

class tst_TarnEnum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsNumbers_data();
    void hasItsNumbers();
    void holds32SignedBits();
    void passesUnknownNumbersOn_data();
    void passesUnknownNumbersOn();
};

void tst_TarnEnum::hasItsNumbers_data()
{
    using namespace TarnEnum;
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("number");
    QTest::newRow("message: register") << int(RegisterClient) << 0;
    QTest::newRow("message: connect one controller") << int(ConnectOneController) << 3;
    QTest::newRow("message: connect all controllers") << int(ConnectAllControllers) << 4;
    QTest::newRow("message: cancel all sends") << int(CancelAllSends) << 5;
    QTest::newRow("message: cancel one send") << int(CancelOneSend) << 6;
    QTest::newRow("message: read data") << int(RequestReadData) << 7;
    QTest::newRow("message: read file") << int(RequestReadFile) << 8;
    QTest::newRow("message: read memory data") << int(RequestReadMemData) << 9;
    QTest::newRow("message: write data") << int(RequestWriteData) << 10;
    QTest::newRow("message: write file") << int(RequestWriteFile) << 11;
    QTest::newRow("message: write memory data") << int(RequestWriteMemData) << 12;
    QTest::newRow("message: order") << int(SendOrder) << 14;
    QTest::newRow("message: auto-connect switch") << int(AutoConnectSwitch) << 19;
    QTest::newRow("notification: registered") << int(RegisterSuccess) << 0;
    QTest::newRow("notification: unregistered") << int(Unregistered) << 1;
    QTest::newRow("notification: registration rejected") << int(RegisterRejected) << 2;
    QTest::newRow("notification: registration error") << int(RegisterError) << 3;
    QTest::newRow("notification: server alive") << int(ServerAlive) << 4;
    QTest::newRow("notification: equipment begins") << int(BeginConnectEquipment) << 5;
    QTest::newRow("notification: 6") << int(Reserved6) << 6;
    QTest::newRow("notification: all controllers begin") << int(BeginConnectAllController) << 7;
    QTest::newRow("notification: all controllers done") << int(CompleteConnectAllController) << 8;
    QTest::newRow("notification: table changed") << int(EquipmentChange) << 9;
    QTest::newRow("reply: 10") << int(ReplyReserved10) << 10;
    QTest::newRow("reply: read data") << int(ReplyReadData) << 11;
    QTest::newRow("reply: read file") << int(ReplyReadFile) << 12;
    QTest::newRow("reply: read memory data") << int(ReplyReadMemData) << 13;
    QTest::newRow("reply: write data") << int(ReplyWriteData) << 14;
    QTest::newRow("reply: write file") << int(ReplyWriteFile) << 15;
    QTest::newRow("reply: write memory data") << int(ReplyWriteMemData) << 16;
    QTest::newRow("reply: 17") << int(ReplyReserved17) << 17;
    QTest::newRow("reply: broadcast") << int(BroadcastReply) << 18;
    QTest::newRow("notification: 22") << int(Reserved22) << 22;
    QTest::newRow("package type: text") << int(TextPackage) << 0;
    QTest::newRow("package type: bytes") << int(ByteArrayPackage) << 1;
    QTest::newRow("result: success") << int(Success) << 0;
    QTest::newRow("result: timed out") << int(TimedOut) << 1;
    QTest::newRow("result: rejected") << int(Rejected) << 2;
    QTest::newRow("result: no equipment") << int(NoEquipment) << 3;
    QTest::newRow("result: write failed") << int(WriteFailed) << 4;
    QTest::newRow("result: bad reply") << int(BadReply) << 5;
    QTest::newRow("result: cancelled") << int(Cancelled) << 6;
}

void tst_TarnEnum::hasItsNumbers()
{
    QFETCH(int, value);
    QFETCH(int, number);
    QCOMPARE(value, number);
}

void tst_TarnEnum::holds32SignedBits()
{
    QVERIFY((std::is_same_v<std::underlying_type_t<TarnEnum::MessageIDs>, int>));
    QVERIFY((std::is_same_v<std::underlying_type_t<TarnEnum::NotifyTypes>, int>));
    QVERIFY((std::is_same_v<std::underlying_type_t<TarnEnum::PackageType>, int>));
    QVERIFY((std::is_same_v<std::underlying_type_t<TarnEnum::CommResults>, int>));
    QVERIFY((std::is_convertible_v<TarnEnum::MessageIDs, int>));
    QVERIFY((std::is_convertible_v<TarnEnum::NotifyTypes, int>));
    QVERIFY((std::is_convertible_v<TarnEnum::PackageType, int>));
    QVERIFY((std::is_convertible_v<TarnEnum::CommResults, int>));
    QCOMPARE(sizeof(TarnEnum::MessageIDs), sizeof(qint32));
}

void tst_TarnEnum::passesUnknownNumbersOn_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("a low byte of 5") << 0x105;
    QTest::newRow("after the last") << 99;
    QTest::newRow("negative") << -1;
    QTest::newRow("largest") << 0x7FFFFFFF;
    QTest::newRow("smallest") << -0x7FFFFFFF - 1;
}

void tst_TarnEnum::passesUnknownNumbersOn()
{
    QFETCH(int, number);
    // Through a variant, so that the compiler cannot see where the value comes from.
    const QVariant message = QVariant::fromValue(static_cast<TarnEnum::MessageIDs>(number));
    QCOMPARE(int(message.value<TarnEnum::MessageIDs>()), number);
    const volatile auto type = static_cast<TarnEnum::NotifyTypes>(number);
    QCOMPARE(int(type), number);
    const volatile auto result = static_cast<TarnEnum::CommResults>(number);
    QCOMPARE(int(result), number);
}

KSPROXY_TEST_MAIN(tst_TarnEnum)
#include "tst_TarnEnum.moc"
