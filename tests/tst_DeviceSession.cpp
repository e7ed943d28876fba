#include "LogCapture.h"
#include "RawClient.h"
#include "SessionFixture.h"
#include "TestMain.h"

#include <QSignalSpy>
#include <QThread>

Q_DECLARE_METATYPE(SessionOptions)

using Code = SessionError::Code;
using State = DeviceSession::State;

class tst_DeviceSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensThroughItsStates();
    void returnsFromOpenAtOnce();
    void fillsTheTableWhenReady();
    void refusesToOpenTwice();
    void refusesOptionsThatMakeNoSense_data();
    void refusesOptionsThatMakeNoSense();
    void saysWhyTheRegistrationFailed_data();
    void saysWhyTheRegistrationFailed();
    void saysThatThereIsNoServer();
    void forgetsEverythingWhenItIsClosed();
    void closesWhileItOpens();
    void opensAgain();
    void opensAgainAfterTheServerWasReplaced();

    void connectsOneController();
    void connectsAllControllers();
    void cancelsRequests();
    void sendsOrders();
    void switchesAutomaticConnection();
    void refusesCommandsUnlessReady();
    void hearsOfAnotherClientsWrite();
    void refusesAnotherThread();
};

void tst_DeviceSession::opensThroughItsStates()
{
    SessionFixture f;
    QVERIFY(f.open());
    QCOMPARE(f.recorder.states(),
             QStringList({QStringLiteral("Connecting"), QStringLiteral("Registering"),
                          QStringLiteral("Ready")}));
    QCOMPARE(f.session.serverVersion(), QStringLiteral(KSPROXY_VERSION));
    QCOMPARE(f.session.lastError().code, Code::None);
}

void tst_DeviceSession::returnsFromOpenAtOnce()
{
    DeviceSession session;
    const SessionRecorder recorder(&session);
    QVERIFY(session.open(SessionFixture::options()));
    QCOMPARE(session.state(), State::Connecting);
    QVERIFY(recorder.all().isEmpty());
}

void tst_DeviceSession::fillsTheTableWhenReady()
{
    SessionFixture f;
    QVERIFY(f.open());
    QCOMPARE(f.session.equipmentTable().size(), 5);
    QCOMPARE(f.session.equipmentTable().value(QStringLiteral("COM1")).longValue, 1001);
    QTRY_COMPARE_WITH_TIMEOUT(
        f.recorder.all().last(),
        QStringLiteral("table +[192.168.0.20:5000 192.168.0.20:5000/1 COM1 COM1/1 COM1/2] -[] *[]"),
        WaitLimitMs);
}

void tst_DeviceSession::refusesToOpenTwice()
{
    SessionFixture f;
    QVERIFY(f.open());
    const LogCapture log;
    QVERIFY(!f.session.open());
    QCOMPARE(f.session.lastError().code, Code::NotReady);
    QCOMPARE(f.session.state(), State::Ready);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_DeviceSession::refusesOptionsThatMakeNoSense_data()
{
    QTest::addColumn<SessionOptions>("options");
    QTest::addColumn<QString>("word");
    SessionOptions options;
    options.startTimeoutMs = 0;
    QTest::newRow("no time to start") << options << QStringLiteral("time limit");
    options = SessionOptions();
    options.registrationTimeoutMs = -1;
    QTest::newRow("no time to register") << options << QStringLiteral("time limit");
    options = SessionOptions();
    options.requestTimeoutMs = 0;
    QTest::newRow("no time for requests") << options << QStringLiteral("time limit");
    options = SessionOptions();
    options.silenceLimitMs = -1;
    QTest::newRow("negative silence") << options << QStringLiteral("silence");
    options = SessionOptions();
    options.reconnect.firstDelayMs = 9;
    QTest::newRow("a busy loop") << options << QStringLiteral("first delay");
    options = SessionOptions();
    options.reconnect.firstDelayMs = -10;
    QTest::newRow("a negative delay") << options << QStringLiteral("first delay");
    options = SessionOptions();
    options.reconnect.longestDelayMs = 49;
    QTest::newRow("shrinking delays") << options << QStringLiteral("longest delay");
}

void tst_DeviceSession::refusesOptionsThatMakeNoSense()
{
    QFETCH(SessionOptions, options);
    QFETCH(QString, word);
    const LogCapture log;
    DeviceSession session;
    QVERIFY(!session.open(options));
    QCOMPARE(session.state(), State::Closed);
    QCOMPARE(session.lastError().code, Code::InvalidArgument);
    QVERIFY2(session.lastError().text.contains(word), qPrintable(session.lastError().text));
}

void tst_DeviceSession::saysWhyTheRegistrationFailed_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<SessionError::Code>("code");
    QTest::newRow("rejected") << QStringLiteral("reject") << Code::RegistrationRejected;
    QTest::newRow("an error") << QStringLiteral("error") << Code::RegistrationFailed;
    QTest::newRow("no answer") << QStringLiteral("silent") << Code::RegistrationTimedOut;
}

void tst_DeviceSession::saysWhyTheRegistrationFailed()
{
    QFETCH(QString, answer);
    QFETCH(SessionError::Code, code);
    SessionFixture f;
    QVERIFY(f.server.start({QStringLiteral("--register"), answer}));
    SessionOptions options = SessionFixture::options();
    options.registrationTimeoutMs = 300;
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.session.lastError().code, code);
    QVERIFY(!f.session.lastError().text.isEmpty());
    QCOMPARE(f.recorder.states(),
             QStringList({QStringLiteral("Connecting"), QStringLiteral("Registering"),
                          QStringLiteral("Closed")}));
    QVERIFY(f.session.equipmentTable().isEmpty());
}

void tst_DeviceSession::saysThatThereIsNoServer()
{
    SessionFixture f;
    QVERIFY(f.session.open(SessionFixture::options()));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.recorder.all().mid(f.recorder.all().size() - 2),
             QStringList({QStringLiteral("error NoServer"), QStringLiteral("state Closed")}));
    QCOMPARE(f.session.lastError().code, Code::NoServer);
}

void tst_DeviceSession::forgetsEverythingWhenItIsClosed()
{
    SessionFixture f;
    QVERIFY(f.open());
    f.session.close();
    QCOMPARE(f.session.state(), State::Closed);
    QVERIFY(f.session.equipmentTable().isEmpty());
    QVERIFY(f.session.serverVersion().isEmpty());
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.recorder.states().count(QStringLiteral("Closed")), 1);
}

void tst_DeviceSession::closesWhileItOpens()
{
    SessionFixture f;
    QVERIFY(f.server.start());
    QVERIFY(f.session.open(SessionFixture::options()));
    f.session.close();
    QVERIFY(f.waitFor(State::Closed));
    QVERIFY(f.session.open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(f.session.state(), State::Registering, WaitLimitMs);
    f.session.close();
    QVERIFY(f.waitFor(State::Closed));
}

void tst_DeviceSession::opensAgain()
{
    SessionFixture f;
    QVERIFY(f.open());
    f.session.close();
    f.recorder.clear();
    QVERIFY(f.session.open(SessionFixture::options()));
    QVERIFY(f.waitFor(State::Ready));
    const QScopedPointer<DeviceReply> reply(f.session.read({QStringLiteral("COM1"), 0}, 4));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->data().size(), 4);
}

// The connection that the first session left is gone by then.
void tst_DeviceSession::opensAgainAfterTheServerWasReplaced()
{
    SessionFixture f;
    QVERIFY(f.open());
    f.session.close();
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    f.recorder.clear();
    QVERIFY(f.open());
    QCOMPARE(f.session.equipmentTable().size(), 5);
}

void tst_DeviceSession::connectsOneController()
{
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(f.session.connectController(QStringLiteral("COM1")));
    QTRY_VERIFY_WITH_TIMEOUT(
        f.recorder.count(QStringLiteral("table +[] -[] *[COM1 COM1/1 COM1/2]")) == 1, WaitLimitMs);
    QCOMPARE(f.recorder.count(QStringLiteral("connecting COM1")), 1);
    QCOMPARE(f.session.equipmentTable().value(QStringLiteral("COM1")).intValue, 1);
}

void tst_DeviceSession::connectsAllControllers()
{
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(f.session.connectAllControllers());
    QTRY_COMPARE_WITH_TIMEOUT(f.recorder.count(QStringLiteral("connected all")), 1, WaitLimitMs);
    const QStringList expected{QStringLiteral("connecting all"), QStringLiteral("connecting COM1"),
                               QStringLiteral("connecting 192.168.0.20:5000"),
                               QStringLiteral("table +[] -[] *[192.168.0.20:5000 "
                                              "192.168.0.20:5000/1 COM1 COM1/1 COM1/2]"),
                               QStringLiteral("connected all")};
    QCOMPARE(f.recorder.all().mid(f.recorder.all().indexOf(expected.first())), expected);
    for (const EquipmentInfo &equipment : f.session.equipmentTable())
        QCOMPARE(equipment.intValue, 1);
}

void tst_DeviceSession::cancelsRequests()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    const QScopedPointer<DeviceReply> one(f.session.read({QStringLiteral("COM1"), 0}, 4));
    const QScopedPointer<DeviceReply> other(f.session.read({QStringLiteral("COM1/1"), 0}, 4));
    QVERIFY(f.session.cancelRequests(QStringLiteral("COM1")));
    QVERIFY(waitForEnd(*one));
    QCOMPARE(one->error(), Code::DeviceCancelled);
    QVERIFY(!other->isFinished());
    QVERIFY(f.session.cancelAllRequests());
    QVERIFY(waitForEnd(*other));
    QCOMPARE(other->error(), Code::DeviceCancelled);
    QCOMPARE(other->sessionError().deviceResult.value_or(TarnEnum::Success), TarnEnum::Cancelled);
}

void tst_DeviceSession::sendsOrders()
{
    SessionFixture f;
    QVERIFY(f.open());
    QVERIFY(f.session.sendOrder("identify"));
    QTRY_VERIFY_WITH_TIMEOUT(
        f.recorder.count(QStringLiteral("broadcast  KVTServerMaster " KSPROXY_VERSION)) == 1,
        WaitLimitMs);
}

void tst_DeviceSession::switchesAutomaticConnection()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--verbose")}));
    QVERIFY(f.session.setAutoConnect(false));
    QTRY_VERIFY_WITH_TIMEOUT(f.server.errors().contains(QLatin1String("19 \"False\"")),
                             WaitLimitMs);
    QVERIFY(f.session.setAutoConnect(true));
    QTRY_VERIFY_WITH_TIMEOUT(f.server.errors().contains(QLatin1String("19 \"True\"")), WaitLimitMs);
}

void tst_DeviceSession::refusesCommandsUnlessReady()
{
    const LogCapture log;
    DeviceSession session;
    QVERIFY(!session.connectAllControllers());
    QCOMPARE(session.lastError().code, Code::NotReady);
    QVERIFY(!session.connectController(QStringLiteral("COM1")));
    QVERIFY(!session.cancelAllRequests());
    QVERIFY(!session.cancelRequests(QStringLiteral("COM1")));
    QVERIFY(!session.sendOrder("identify"));
    QVERIFY(!session.setAutoConnect(true));
    QVERIFY(!session.connectController(QString()));
    QCOMPARE(session.lastError().code, Code::InvalidArgument);
    QVERIFY(!session.cancelRequests(QString()));
    QCOMPARE(log.texts(QtWarningMsg).size(), 8);
}

void tst_DeviceSession::hearsOfAnotherClientsWrite()
{
    SessionFixture f;
    QVERIFY(f.open());
    DeviceBroadcast heard;
    connect(&f.session, &DeviceSession::broadcastReceived, this,
            [&](const DeviceBroadcast &broadcast) { heard = broadcast; });
    RawClient other;
    QVERIFY(other.connectToServer());
    other.send(10,
               "serialNum=7;serverConnectionKey=COM1%2F1;highAddr=0;lowAddr=64;portAddr=1;"
               "scanBoardAddr=2;tag=hi;data=SGVsbG8=");
    QTRY_COMPARE_WITH_TIMEOUT(heard.data, QByteArray("Hello"), WaitLimitMs);
    QCOMPARE(heard.address.key, QStringLiteral("COM1/1"));
    QCOMPARE(heard.address.address, 64U);
    QCOMPARE(int(heard.address.port), 1);
    QCOMPARE(heard.address.scanBoard, 2);
    QCOMPARE(heard.tag, QStringLiteral("hi"));
    QCOMPARE(heard.result, TarnEnum::Success);
    QVERIFY(heard.isWrite);
    QVERIFY(!heard.isRead);
}

void tst_DeviceSession::refusesAnotherThread()
{
    SessionFixture f;
    QVERIFY(f.open());
    const LogCapture log;
    Code readError = Code::None;
    Code writeError = Code::None;
    QList<bool> accepted;
    State seen = State::Ready;
    const QScopedPointer<QThread> thread(QThread::create([&] {
        QEventLoop loop;
        const QScopedPointer<DeviceReply> read(f.session.read({QStringLiteral("COM1"), 0}, 4));
        const QScopedPointer<DeviceReply> write(f.session.write({QStringLiteral("COM1"), 0}, "x"));
        QObject::connect(read.data(), &DeviceReply::finished, &loop,
                         [&] { readError = read->error(); });
        QObject::connect(write.data(), &DeviceReply::finished, &loop, [&] {
            writeError = write->error();
            loop.quit();
        });
        accepted = {f.session.open(),
                    f.session.connectAllControllers(),
                    f.session.connectController(QStringLiteral("COM1")),
                    f.session.cancelAllRequests(),
                    f.session.cancelRequests(QStringLiteral("COM1")),
                    f.session.sendOrder("identify"),
                    f.session.setAutoConnect(true)};
        f.session.close();
        seen = f.session.state();
        loop.exec();
    }));
    thread->start();
    QVERIFY(thread->wait(WaitLimitMs));
    QCOMPARE(readError, Code::WrongThread);
    QCOMPARE(writeError, Code::WrongThread);
    QVERIFY(!accepted.contains(true));
    QCOMPARE(seen, State::Closed);
    QCOMPARE(f.session.state(), State::Ready);
    QCOMPARE(log.texts(QtWarningMsg).size(), 11);
}

KSPROXY_TEST_MAIN(tst_DeviceSession)
#include "tst_DeviceSession.moc"
