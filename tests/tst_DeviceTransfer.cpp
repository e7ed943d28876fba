#include "LogCapture.h"
#include "Pattern.h"
#include "ProgressLog.h"
#include "RawClient.h"
#include "TestMain.h"

#include <QSignalSpy>

#include <limits>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int Chunk = 100;

void setSmall(DeviceTransfer *transfer, int window)
{
    transfer->setChunkBytes(Chunk);
    transfer->setWindow(window);
}

} // namespace

/// What a transfer moves, reports, verifies and refuses.
class tst_DeviceTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moves_data();
    void moves();
    void hasNoMoreUnderWayThanTheWindow();
    void verifiesWhatItWrote();
    void findsWhatAnotherClientOverwrote();
    void readsUpToTheRefusedChunk_data();
    void readsUpToTheRefusedChunk();
    void writesUpToTheRefusedChunk();
    void carriesTheTimeoutOfItsRequests();
    void refusesBadSettings_data();
    void refusesBadSettings();
    void refusesRequestsUnlessReady();
    void refusesASecondStart();
};

void tst_DeviceTransfer::moves_data()
{
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("window");
    for (const int window : {1, 8}) {
        for (const int bytes :
             {1, Chunk - 1, Chunk, Chunk + 1, 2 * Chunk, 20 * Chunk - 1, 20 * Chunk + 1})
            QTest::addRow("%d bytes, window %d", bytes, window) << bytes << window;
    }
}

void tst_DeviceTransfer::moves()
{
    QFETCH(int, bytes);
    QFETCH(int, window);
    SessionFixture f;
    QVERIFY(f.open());
    DeviceTransfer write(&f.session);
    setSmall(&write, window);
    const ProgressLog written(&write);
    const QSignalSpy spy(&write, &DeviceTransfer::finished);
    write.write({Key, 50}, pattern(50, bytes));
    QVERIFY(!write.isFinished());
    QVERIFY(waitForEnd(write));
    QCOMPARE(write.error(), Code::None);
    QCOMPARE(write.errorString(), QString());
    QCOMPARE(write.transferredBytes(), bytes);
    QCOMPARE(write.verifiedBytes(), 0);
    QVERIFY(written.isWell);
    QCOMPARE(written.last, qint64(bytes));
    QCOMPARE(written.inAll, qint64(bytes));
    DeviceTransfer read(&f.session);
    setSmall(&read, window);
    const ProgressLog progress(&read);
    read.read({Key, 49}, bytes + 2);
    QVERIFY(waitForEnd(read));
    QCOMPARE(read.error(), Code::None);
    QCOMPARE(read.data(), QByteArray(1, '\0') + pattern(50, bytes) + QByteArray(1, '\0'));
    QVERIFY(progress.isWell);
    QCOMPARE(progress.last, qint64(bytes) + 2);
    QCOMPARE(spy.count(), 1);
}

void tst_DeviceTransfer::hasNoMoreUnderWayThanTheWindow()
{
    SessionFixture f;
    QVERIFY(f.open(
        {QStringLiteral("--latency"), QStringLiteral("60000"), QStringLiteral("--verbose")}));
    DeviceTransfer transfer(&f.session);
    setSmall(&transfer, 3);
    transfer.read({Key, 0}, 20 * Chunk);
    QTRY_VERIFY_WITH_TIMEOUT(f.server.errors().contains(QLatin1String("lowAddr=200")), WaitLimitMs);
    QVERIFY(f.session.connectController(QStringLiteral("marker")));
    QTRY_VERIFY_WITH_TIMEOUT(f.server.errors().contains(QLatin1String("marker")), WaitLimitMs);
    QVERIFY(!f.server.errors().contains(QLatin1String("lowAddr=300")));
}

void tst_DeviceTransfer::verifiesWhatItWrote()
{
    SessionFixture f;
    QVERIFY(f.open());
    DeviceTransfer transfer(&f.session);
    setSmall(&transfer, 8);
    transfer.setVerifying(true);
    const ProgressLog progress(&transfer);
    transfer.write({Key, 0}, pattern(0, 1050));
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::None);
    QCOMPARE(transfer.transferredBytes(), 1050);
    QCOMPARE(transfer.verifiedBytes(), 1050);
    QVERIFY(progress.isWell);
    QCOMPARE(progress.last, 2100);
    QCOMPARE(progress.inAll, 2100);
}

void tst_DeviceTransfer::findsWhatAnotherClientOverwrote()
{
    constexpr int bytes = 10 * Chunk;
    SessionFixture f;
    QVERIFY(f.open());
    RawClient other;
    QVERIFY(other.registerAtServer());
    DeviceTransfer transfer(&f.session);
    setSmall(&transfer, 1);
    transfer.setVerifying(true);
    // 250 = FAh, once everything is written and before that place is read back.
    connect(&transfer, &DeviceTransfer::progress, this, [&](qint64 done, qint64) {
        if (done == bytes)
            other.send(10, "serialNum=7;serverConnectionKey=COM1;lowAddr=250;data=IQ==");
    });
    transfer.write({Key, 0}, QByteArray(bytes, 'x'));
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::VerificationFailed);
    QVERIFY2(transfer.errorString().endsWith(QLatin1String("0xfa.")),
             qPrintable(transfer.errorString()));
    QCOMPARE(transfer.transferredBytes(), bytes);
    QCOMPARE(transfer.verifiedBytes(), 2 * Chunk);
}

void tst_DeviceTransfer::readsUpToTheRefusedChunk_data()
{
    QTest::addColumn<int>("window");
    QTest::newRow("one at a time") << 1;
    QTest::newRow("eight at a time") << 8;
}

// The last good chunk ends where the memory does.
void tst_DeviceTransfer::readsUpToTheRefusedChunk()
{
    QFETCH(int, window);
    constexpr int good = 5 * Chunk;
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(fillWithPattern(f.session, Key));
    DeviceTransfer transfer(&f.session);
    setSmall(&transfer, window);
    transfer.read({Key, MemoryBytes - good}, 20 * Chunk);
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::DeviceRefused);
    QCOMPARE(transfer.sessionError().deviceResult.value_or(TarnEnum::Success), TarnEnum::Rejected);
    QCOMPARE(transfer.transferredBytes(), good);
    QCOMPARE(transfer.data(), pattern(MemoryBytes - good, good));
}

void tst_DeviceTransfer::writesUpToTheRefusedChunk()
{
    constexpr int good = 5 * Chunk;
    SessionFixture f;
    QVERIFY(f.open());
    DeviceTransfer transfer(&f.session);
    setSmall(&transfer, 8);
    transfer.write({Key, MemoryBytes - good}, pattern(0, 20 * Chunk));
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::DeviceRefused);
    QCOMPARE(transfer.transferredBytes(), good);
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, MemoryBytes - good}, good));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->data(), pattern(0, good));
}

void tst_DeviceTransfer::carriesTheTimeoutOfItsRequests()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    DeviceTransfer transfer(&f.session);
    transfer.setRequestTimeout(120);
    transfer.read({Key, 0}, 10);
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::TimedOut);
    QVERIFY(transfer.errorString().contains(QLatin1String("120 ms")));
}

void tst_DeviceTransfer::refusesBadSettings_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<quint32>("address");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("chunk");
    QTest::addColumn<int>("window");
    QTest::addColumn<int>("timeoutMs");
    const int normal = DeviceSession::DefaultTimeout;
    const int most = DeviceTransfer::MaxWindow;
    const int longest = DeviceSession::MaxRequestBytes;
    QTest::newRow("empty key") << QString() << 0U << 9 << 1 << 1 << normal;
    QTest::newRow("nothing") << Key << 0U << 0 << 1 << 1 << normal;
    QTest::newRow("less than nothing") << Key << 0U << -1 << 1 << 1 << normal;
    QTest::newRow("over the limit")
        << Key << 0U << DeviceTransfer::MaxBytes + 1 << 1 << 1 << normal;
    QTest::newRow("more than there is memory")
        << Key << 0U << std::numeric_limits<int>::max() << 1 << 1 << normal;
    QTest::newRow("past 32 bits") << Key << 0xFFFFFFFFU << 2 << 1 << 1 << normal;
    QTest::newRow("empty chunks") << Key << 0U << 9 << 0 << 1 << normal;
    QTest::newRow("negative chunks") << Key << 0U << 9 << -1 << 1 << normal;
    QTest::newRow("chunks too long") << Key << 0U << 9 << longest + 1 << 1 << normal;
    QTest::newRow("no window") << Key << 0U << 9 << 1 << 0 << normal;
    QTest::newRow("window too wide") << Key << 0U << 9 << 1 << most + 1 << normal;
    QTest::newRow("no time") << Key << 0U << 9 << 1 << 1 << 0;
}

void tst_DeviceTransfer::refusesBadSettings()
{
    QFETCH(QString, key);
    QFETCH(quint32, address);
    QFETCH(int, length);
    QFETCH(int, chunk);
    QFETCH(int, window);
    QFETCH(int, timeoutMs);
    SessionFixture f;
    QVERIFY(f.open());
    DeviceTransfer transfer(&f.session);
    transfer.setChunkBytes(chunk);
    transfer.setWindow(window);
    transfer.setRequestTimeout(timeoutMs);
    const QSignalSpy spy(&transfer, &DeviceTransfer::finished);
    transfer.read({key, address}, length);
    QVERIFY(!transfer.isFinished());
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::InvalidArgument);
    QVERIFY(!transfer.errorString().isEmpty());
    QCOMPARE(transfer.transferredBytes(), 0);
    QVERIFY(transfer.data().isEmpty());
    QCOMPARE(spy.count(), 1);
}

void tst_DeviceTransfer::refusesRequestsUnlessReady()
{
    DeviceSession session;
    DeviceTransfer transfer(&session);
    transfer.write({Key, 0}, "x");
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.error(), Code::NotReady);
}

void tst_DeviceTransfer::refusesASecondStart()
{
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(fillWithPattern(f.session, Key));
    const LogCapture log;
    DeviceTransfer transfer(&f.session);
    const QSignalSpy spy(&transfer, &DeviceTransfer::finished);
    transfer.read({Key, 10}, 20);
    transfer.read({Key, 30}, 40);
    transfer.write({Key, 30}, "x");
    transfer.setChunkBytes(0);
    transfer.setWindow(0);
    transfer.setRequestTimeout(1);
    transfer.setVerifying(true);
    QCOMPARE(log.texts(QtWarningMsg).size(), 6);
    QVERIFY(waitForEnd(transfer));
    QCOMPARE(transfer.data(), pattern(10, 20));
    transfer.read({Key, 30}, 40);
    QCOMPARE(log.texts(QtWarningMsg).size(), 7);
    QCOMPARE(transfer.data(), pattern(10, 20));
    QCOMPARE(spy.count(), 1);
}

KSPROXY_TEST_MAIN(tst_DeviceTransfer)
#include "tst_DeviceTransfer.moc"
