#include "SessionFixture.h"
#include "SteeredServer.h"
#include "TestMain.h"

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");

} // namespace

/// What a server may say about the registration, at any time, and in what order.
class tst_SessionRegistration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void comesBackWhenItEnds_data();
    void comesBackWhenItEnds();
    void closesWhenItEndsForGood();
    void goesOverANewConnectionAfterAGoodbye();
    void isConfirmedWithoutAVersion_data();
    void isConfirmedWithoutAVersion();
    void isNotConfirmedByATable_data();
    void isNotConfirmedByATable();
    void isConfirmedAndChangedAtOnce();
    void isConfirmedLate();
    void isConfirmedAgainWithAnotherTable();
    void endsAndStandsAgainWithinAMoment();

private:
    bool tell(int id, const QString &text = QString());
    bool waitFor(State state);
    int received(const QString &id);
    bool openUnconfirmed();
    bool waitUntilRead();
    bool isServed();

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<DeviceSession> m_session;
    QScopedPointer<SessionRecorder> m_recorder;
};

void tst_SessionRegistration::init()
{
    m_server.reset(new SteeredServer);
    QVERIFY(m_server->start());
    m_session.reset(new DeviceSession);
    m_recorder.reset(new SessionRecorder(m_session.data()));
}

void tst_SessionRegistration::cleanup()
{
    m_recorder.reset();
    m_session.reset();
    m_server.reset();
}

// To the first client, registered or not.
bool tst_SessionRegistration::tell(int id, const QString &text)
{
    const QJsonObject answer
        = m_server->control.call(QJsonObject{{QStringLiteral("do"), QStringLiteral("notify")},
                                             {QStringLiteral("client"), 1},
                                             {QStringLiteral("id"), id},
                                             {QStringLiteral("text"), text}});
    return answer.value(QLatin1String("ok")).toBool();
}

bool tst_SessionRegistration::waitFor(State state)
{
    return QTest::qWaitFor([&] { return m_session->state() == state; }, WaitLimitMs);
}

int tst_SessionRegistration::received(const QString &id)
{
    const QJsonObject status = m_server->control.call(R"({"do":"status"})");
    return status.value(QLatin1String("received")).toObject().value(id).toInt();
}

// Until the server has been asked.
bool tst_SessionRegistration::openUnconfirmed()
{
    return m_server->control.tell(R"({"do":"register","answer":"silent"})")
        && m_session->open(SessionFixture::options()) && waitFor(State::Registering)
        && QTest::qWaitFor([&] { return received(QStringLiteral("0")) > 0; }, WaitLimitMs);
}

// Two of its probes later the session has read what it was told before.
bool tst_SessionRegistration::waitUntilRead()
{
    const QString probe = QStringLiteral("7");
    const int before = received(probe);
    return QTest::qWaitFor([&] { return received(probe) >= before + 2; }, WaitLimitMs);
}

bool tst_SessionRegistration::isServed()
{
    const QScopedPointer<DeviceReply> reply(m_session->read({Key, 0}, 4));
    return waitForEnd(*reply) && reply->error() == Code::None;
}

void tst_SessionRegistration::comesBackWhenItEnds_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("no longer registered") << 1;
    QTest::newRow("rejected") << 2;
    QTest::newRow("an error") << 3;
}

void tst_SessionRegistration::comesBackWhenItEnds()
{
    QFETCH(int, id);
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QVERIFY(m_server->control.tell(R"({"do":"latency","key":"COM1","ms":60000})"));
    const QScopedPointer<DeviceReply> reply(m_session->read({Key, 0}, 4));
    QVERIFY(tell(id));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::ConnectionLost);
    QVERIFY(waitFor(State::Ready));
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->states().count(QStringLiteral("Ready")), 2, WaitLimitMs);
    QCOMPARE(m_recorder->count(QStringLiteral("error ConnectionLost")), 1);
    QCOMPARE(m_recorder->states().count(QStringLiteral("Lost")), 1);
}

void tst_SessionRegistration::closesWhenItEndsForGood()
{
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QVERIFY(m_server->control.tell(R"({"do":"register","answer":"reject"})"));
    QVERIFY(tell(1));
    QVERIFY(waitFor(State::Closed));
    QCOMPARE(m_session->lastError().code, Code::RegistrationRejected);
    QVERIFY(m_session->equipmentTable().isEmpty());
}

// The end of the registration is the first that is heard of it.
void tst_SessionRegistration::goesOverANewConnectionAfterAGoodbye()
{
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QVERIFY(m_server->end());
    QVERIFY(waitFor(State::Lost));
    m_recorder->clear();
    QVERIFY(m_server->process.start());
    QVERIFY(waitFor(State::Ready));
    QTRY_COMPARE_WITH_TIMEOUT(m_recorder->states().last(), QStringLiteral("Ready"), WaitLimitMs);
    QCOMPARE(m_recorder->states().count(QStringLiteral("Registering")), 1);
    QVERIFY(isServed());
}

void tst_SessionRegistration::isConfirmedWithoutAVersion_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("keys");
    QTest::newRow("a table") << QStringLiteral("COM1/1/2/A/5") << QStringList(Key);
    QTest::newRow("a table and an empty version")
        << QStringLiteral("COM1/1/2/A/5,") << QStringList(Key);
    QTest::newRow("nothing at all") << QString() << QStringList();
}

void tst_SessionRegistration::isConfirmedWithoutAVersion()
{
    QFETCH(QString, text);
    QFETCH(QStringList, keys);
    QVERIFY(openUnconfirmed());
    QVERIFY(tell(0, text));
    QVERIFY(waitFor(State::Ready));
    QCOMPARE(m_session->serverVersion(), QString());
    QCOMPARE(QStringList(m_session->equipmentTable().keys()), keys);
    QVERIFY(isServed());
}

void tst_SessionRegistration::isNotConfirmedByATable_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("the equipment changed") << 9;
    QTest::newRow("all are connected") << 8;
}

void tst_SessionRegistration::isNotConfirmedByATable()
{
    QFETCH(int, id);
    QVERIFY(openUnconfirmed());
    QVERIFY(tell(id, QStringLiteral("X/1/2/A/5")));
    QVERIFY(waitUntilRead());
    QVERIFY(tell(id, QStringLiteral("Y/1/2/A/5")));
    QVERIFY(waitUntilRead());
    QCOMPARE(m_session->state(), State::Registering);
    QVERIFY(tell(0, QStringLiteral("COM1/1/2/A/5,7.0")));
    QVERIFY(waitFor(State::Ready));
    QCOMPARE(m_session->serverVersion(), QStringLiteral("7.0"));
    QCOMPARE(QStringList(m_session->equipmentTable().keys()), QStringList(Key));
}

void tst_SessionRegistration::isConfirmedAndChangedAtOnce()
{
    QVERIFY(openUnconfirmed());
    QVERIFY(tell(0, QStringLiteral("COM1/1/2/A/5,")));
    QVERIFY(tell(9, QStringLiteral("COM2/1/2/A/5")));
    QVERIFY(waitFor(State::Ready));
    QTRY_COMPARE_WITH_TIMEOUT(QStringList(m_session->equipmentTable().keys()),
                              QStringList(QStringLiteral("COM2")), WaitLimitMs);
}

void tst_SessionRegistration::isConfirmedLate()
{
    SessionOptions options = SessionFixture::options();
    options.registrationTimeoutMs = 100;
    QVERIFY(m_server->control.tell(R"({"do":"register","answer":"silent"})"));
    QVERIFY(m_session->open(options));
    QVERIFY(waitFor(State::Closed));
    QCOMPARE(m_session->lastError().code, Code::RegistrationTimedOut);
    QVERIFY(tell(0, QStringLiteral("OLD/1/2/A/5,6.0"))); // nobody is interested any more
    QVERIFY(m_server->control.tell(R"({"do":"register","answer":"accept"})"));
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QCOMPARE(m_session->serverVersion(), QStringLiteral(KSPROXY_VERSION));
    QCOMPARE(m_session->equipmentTable().size(), 5);
    QVERIFY(isServed());
}

void tst_SessionRegistration::isConfirmedAgainWithAnotherTable()
{
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QVERIFY(tell(0, QStringLiteral("COM1/1/2/A/5,7.0")));
    QTRY_COMPARE_WITH_TIMEOUT(QStringList(m_session->equipmentTable().keys()), QStringList(Key),
                              WaitLimitMs);
    QCOMPARE(m_session->serverVersion(), QStringLiteral("7.0"));
    QCOMPARE(m_session->state(), State::Ready);
}

// What the proxy knows then is the new table; so must be what the session says.
void tst_SessionRegistration::endsAndStandsAgainWithinAMoment()
{
    QVERIFY(m_session->open(SessionFixture::options()));
    QVERIFY(waitFor(State::Ready));
    QVERIFY(m_server->control.tell(R"({"do":"send","client":1,"hex":"010000000111000000)"
                                   R"(00434F4D312F312F322F412F352C372E30"})"));
    QTRY_COMPARE_WITH_TIMEOUT(QStringList(m_session->equipmentTable().keys()), QStringList(Key),
                              WaitLimitMs);
    QVERIFY(waitFor(State::Ready));
    QVERIFY(isServed());
}

KSPROXY_TEST_MAIN(tst_SessionRegistration)
#include "tst_SessionRegistration.moc"
