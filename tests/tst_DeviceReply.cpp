#include "Pattern.h"
#include "TestMain.h"

#include <QSignalSpy>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int MostGivenAway = 12;
constexpr int LongWaitMs = 90000; // for a thousand requests, which take ten seconds and more

} // namespace

class tst_DeviceReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsWhatWasWritten();
    void writesNothingToAskForTheEquipment();
    void saysWhereAndHowLong();
    void failsEarlyThroughFinished_data();
    void failsEarlyThroughFinished();
    void refusesAWriteThatIsTooLong();
    void refusesRequestsUnlessReady_data();
    void refusesRequestsUnlessReady();
    void takesTheLastAddress();
    void tellsTheErrorsOfTheDevice_data();
    void tellsTheErrorsOfTheDevice();
    void tellsThatItWasCancelled();
    void finishesInTheOrderOfTheReplies();
    void answersAThousandRequestsEachWithItsOwn();
    void endsAllWhenTheSessionCloses();
};

void tst_DeviceReply::readsWhatWasWritten()
{
    SessionFixture f;
    QVERIFY(f.open());
    EquipmentAddress address(Key, 0x1234);
    const QScopedPointer<DeviceReply> write(f.session.write(address, "Hello"));
    const QScopedPointer<DeviceReply> read(f.session.read(address, 5));
    QVERIFY(waitForEnd(*read));
    QVERIFY(write->isFinished());
    QCOMPARE(write->error(), Code::None);
    QVERIFY(write->data().isEmpty());
    QCOMPARE(read->error(), Code::None);
    QCOMPARE(read->errorString(), QString());
    QCOMPARE(read->sessionError().deviceResult.value_or(TarnEnum::Rejected), TarnEnum::Success);
    QCOMPARE(read->data(), QByteArray("Hello"));
    address.port = 1;
    const QScopedPointer<DeviceReply> otherPort(f.session.read(address, 5));
    QVERIFY(waitForEnd(*otherPort));
    QCOMPARE(otherPort->data(), QByteArray(5, '\0'));
}

void tst_DeviceReply::writesNothingToAskForTheEquipment()
{
    SessionFixture f;
    QVERIFY(f.open());
    const QScopedPointer<DeviceReply> there(f.session.write({Key, 0}, QByteArray()));
    const QScopedPointer<DeviceReply> missing(
        f.session.write({QStringLiteral("COM9"), 0}, QByteArray()));
    QVERIFY(waitForEnd(*missing));
    QCOMPARE(there->error(), Code::None);
    QCOMPARE(missing->error(), Code::NoEquipment);
}

void tst_DeviceReply::saysWhereAndHowLong()
{
    constexpr int latencyMs = 200;
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QString::number(latencyMs)}));
    EquipmentAddress address(Key, 7);
    address.port = 1;
    address.scanBoard = 2;
    address.deviceType = 3;
    const QScopedPointer<DeviceReply> reply(f.session.read(address, 4));
    const QScopedPointer<DeviceReply> later(f.session.read(address, 4));
    QCOMPARE(reply->address().key, Key);
    QCOMPARE(reply->address().address, 7U);
    QCOMPARE(int(reply->address().port), 1);
    QCOMPARE(reply->address().scanBoard, 2);
    QCOMPARE(reply->address().deviceType, 3);
    QVERIFY(waitForEnd(*reply));
    const qint64 elapsed = reply->elapsed();
    QVERIFY2(elapsed >= latencyMs && elapsed < WaitLimitMs, qPrintable(QString::number(elapsed)));
    QVERIFY(waitForEnd(*later));
    QVERIFY(later->serialNumber() > reply->serialNumber());
    QCOMPARE(reply->elapsed(), elapsed);
}

void tst_DeviceReply::failsEarlyThroughFinished_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<quint32>("address");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("timeoutMs");
    QTest::addColumn<QString>("word");
    const int normal = DeviceSession::DefaultTimeout;
    const int longest = DeviceSession::MaxRequestBytes;
    QTest::newRow("empty key") << QString() << 0U << 4 << normal << QStringLiteral("key");
    QTest::newRow("nothing") << Key << 0U << 0 << normal << QStringLiteral("at least 1 byte");
    QTest::newRow("less than nothing") << Key << 0U << -1 << normal << QStringLiteral("1 byte");
    QTest::newRow("too long") << Key << 0U << longest + 1 << normal << QStringLiteral("8388609");
    QTest::newRow("past 32 bits") << Key << 0xFFFFFFFFU << 2 << normal << QStringLiteral("32-bit");
    QTest::newRow("no time") << Key << 0U << 4 << 0 << QStringLiteral("not 0");
    QTest::newRow("negative time") << Key << 0U << 4 << -2 << QStringLiteral("not -2");
}

void tst_DeviceReply::failsEarlyThroughFinished()
{
    QFETCH(QString, key);
    QFETCH(quint32, address);
    QFETCH(int, length);
    QFETCH(int, timeoutMs);
    QFETCH(QString, word);
    SessionFixture f;
    QVERIFY(f.open());
    const QScopedPointer<DeviceReply> reply(f.session.read({key, address}, length, timeoutMs));
    const QSignalSpy spy(reply.data(), &DeviceReply::finished);
    QVERIFY(!reply->isFinished());
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::InvalidArgument);
    QVERIFY2(reply->errorString().contains(word), qPrintable(reply->errorString()));
    QCOMPARE(reply->serialNumber(), 0U);
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(marker->error(), Code::None);
    QCOMPARE(spy.count(), 1);
}

void tst_DeviceReply::refusesAWriteThatIsTooLong()
{
    SessionFixture f;
    QVERIFY(f.open());
    const QByteArray data(DeviceSession::MaxRequestBytes + 1, 'x');
    const QScopedPointer<DeviceReply> reply(f.session.write({Key, 0}, data));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::InvalidArgument);
    const QScopedPointer<DeviceReply> longest(f.session.write({Key, 0}, data.mid(1)));
    QVERIFY(waitForEnd(*longest));
    QCOMPARE(longest->error(), Code::DeviceRefused); // by the server: its memory is smaller
}

void tst_DeviceReply::refusesRequestsUnlessReady_data()
{
    QTest::addColumn<State>("state");
    QTest::newRow("closed") << State::Closed;
    QTest::newRow("connecting") << State::Connecting;
    QTest::newRow("registering") << State::Registering;
    QTest::newRow("lost") << State::Lost;
}

void tst_DeviceReply::refusesRequestsUnlessReady()
{
    QFETCH(State, state);
    SessionFixture f;
    if (state == State::Lost) {
        QVERIFY(f.open());
        f.server.kill();
    } else if (state == State::Registering) {
        QVERIFY(f.server.start({QStringLiteral("--register"), QStringLiteral("silent")}));
    }
    if (state == State::Connecting || state == State::Registering)
        QVERIFY(f.session.open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(f.session.state(), state, WaitLimitMs);
    const QScopedPointer<DeviceReply> read(f.session.read({Key, 0}, 4));
    const QScopedPointer<DeviceReply> write(f.session.write({Key, 0}, "x"));
    const QSignalSpy readSpy(read.data(), &DeviceReply::finished);
    QVERIFY(!read->isFinished() && !write->isFinished());
    QVERIFY(waitForEnd(*read));
    QVERIFY(waitForEnd(*write));
    QCOMPARE(read->error(), Code::NotReady);
    QCOMPARE(write->error(), Code::NotReady);
    QVERIFY(!read->errorString().isEmpty());
    QCOMPARE(readSpy.count(), 1);
}

void tst_DeviceReply::takesTheLastAddress()
{
    SessionFixture f;
    QVERIFY(f.open());
    const QScopedPointer<DeviceReply> reply(f.session.read({Key, 0xFFFFFFFFU}, 1));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::DeviceRefused);
    QVERIFY(reply->serialNumber() != 0);
}

void tst_DeviceReply::tellsTheErrorsOfTheDevice_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<quint32>("address");
    QTest::addColumn<SessionError::Code>("code");
    QTest::addColumn<int>("result");
    QTest::newRow("no such equipment")
        << QStringLiteral("COM9") << 0U << Code::NoEquipment << int(TarnEnum::NoEquipment);
    QTest::newRow("range leaves the memory")
        << Key << quint32(MemoryBytes - 1) << Code::DeviceRefused << int(TarnEnum::Rejected);
}

void tst_DeviceReply::tellsTheErrorsOfTheDevice()
{
    QFETCH(QString, key);
    QFETCH(quint32, address);
    QFETCH(SessionError::Code, code);
    QFETCH(int, result);
    SessionFixture f;
    QVERIFY(f.open());
    const QScopedPointer<DeviceReply> read(f.session.read({key, address}, 2));
    const QScopedPointer<DeviceReply> write(f.session.write({key, address}, "xy"));
    QVERIFY(waitForEnd(*write));
    for (const DeviceReply *const reply : {read.data(), write.data()}) {
        QCOMPARE(reply->error(), code);
        QVERIFY2(reply->errorString().contains(key), qPrintable(reply->errorString()));
        QCOMPARE(int(reply->sessionError().deviceResult.value_or(TarnEnum::Success)), result);
        QVERIFY(reply->data().isEmpty());
    }
}

void tst_DeviceReply::tellsThatItWasCancelled()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    const QScopedPointer<DeviceReply> reply(f.session.write({Key, 0}, "x"));
    QVERIFY(f.session.cancelAllRequests());
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::DeviceCancelled);
    QCOMPARE(int(reply->sessionError().deviceResult.value_or(TarnEnum::Success)),
             int(TarnEnum::Cancelled));
}

// The server answers the second request first, since it alone is cancelled.
void tst_DeviceReply::finishesInTheOrderOfTheReplies()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    QString order;
    const auto readFrom = [&](const QString &key, const QString &name) {
        const DeviceReply *const reply = f.session.read({key, 0}, 4);
        connect(reply, &DeviceReply::finished, this, [&order, name] { order += name; });
    };
    readFrom(Key, QStringLiteral("a"));
    readFrom(QStringLiteral("COM1/1"), QStringLiteral("b"));
    readFrom(Key, QStringLiteral("c"));
    QVERIFY(f.session.cancelRequests(QStringLiteral("COM1/1")));
    QVERIFY(f.session.cancelAllRequests());
    QTRY_COMPARE_WITH_TIMEOUT(order, QStringLiteral("bac"), WaitLimitMs);
}

void tst_DeviceReply::answersAThousandRequestsEachWithItsOwn()
{
    constexpr int requests = 1000;
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(fillWithPattern(f.session, Key));
    int finished = 0;
    QList<DeviceReply *> replies;
    for (int i = 0; i < requests; ++i) {
        replies.append(f.session.read({Key, quint32(i * 17)}, 1 + i % 50, LongWaitMs));
        connect(replies.last(), &DeviceReply::finished, this, [&finished] { ++finished; });
    }
    // No more is given away than leaves: the rest can still be withdrawn, to the end.
    QTRY_VERIFY_WITH_TIMEOUT(replies.at(requests - 20)->serialNumber() != 0, LongWaitMs);
    QVERIFY2(finished > requests - 20 - MostGivenAway, qPrintable(QString::number(finished)));
    QTRY_COMPARE_WITH_TIMEOUT(finished, requests, LongWaitMs);
    for (int i = 0; i < requests; ++i)
        QCOMPARE(replies.at(i)->data(), pattern(i * 17, 1 + i % 50));
    const QScopedPointer<DeviceReply> marker(f.session.read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(finished, requests);
}

void tst_DeviceReply::endsAllWhenTheSessionCloses()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    int finished = 0;
    QList<DeviceReply *> replies;
    for (int i = 0; i < 20; ++i) {
        replies.append(f.session.read({Key, 0}, 4));
        connect(replies.last(), &DeviceReply::finished, this, [&finished] { ++finished; });
    }
    QTRY_VERIFY_WITH_TIMEOUT(replies.at(5)->serialNumber() != 0, WaitLimitMs);
    QCOMPARE(replies.last()->serialNumber(), 0U);
    f.session.close();
    QCOMPARE(finished, 0);
    QVERIFY(f.waitFor(State::Closed));
    QTRY_COMPARE_WITH_TIMEOUT(finished, 20, WaitLimitMs);
    for (const DeviceReply *const reply : qAsConst(replies))
        QCOMPARE(reply->error(), Code::SessionClosed);
}

KSPROXY_TEST_MAIN(tst_DeviceReply)
#include "tst_DeviceReply.moc"
