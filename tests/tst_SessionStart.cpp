#include "NamedServer.h"
#include "SessionFixture.h"
#include "TestMain.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <csignal>

using Code = SessionError::Code;
using State = DeviceSession::State;

/// Sessions that start the server. They look for it by its process name, so no other may run on
/// this machine meanwhile.
class tst_SessionStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsTheServerWhenNoneRuns();
    void startsNoSecondServer();
    void waitsForAServerThatIsAboutToListen();
    void saysThatTheServerCannotBeStarted();
    void saysThatTheServerTakesNoConnections();
    void saysThatTheServerEndedAtOnce();
    void startsTheServerAnewWhenItHasGone();
    void waitsForSomebodyElseToStartItAnew();

private:
    static QString path();
};

QString tst_SessionStart::path()
{
    return QStringLiteral(KSPROXY_SERVER_PROGRAM);
}

void tst_SessionStart::init()
{
    QVERIFY2(!NamedServer::isRunning(),
             "a device server is running on this machine: stop it first");
}

void tst_SessionStart::cleanup()
{
    QVERIFY(NamedServer::stop());
}

void tst_SessionStart::startsTheServerWhenNoneRuns()
{
    SessionFixture f;
    QVERIFY(f.session.open()); // all by default
    QVERIFY(f.waitFor(State::Ready));
    QCOMPARE(f.recorder.states(),
             QStringList({QStringLiteral("Connecting"), QStringLiteral("StartingServer"),
                          QStringLiteral("Connecting"), QStringLiteral("Registering"),
                          QStringLiteral("Ready")}));
    QVERIFY(NamedServer::isRunning());
}

void tst_SessionStart::startsNoSecondServer()
{
    SessionFixture f;
    QVERIFY(f.open({}, SessionOptions())); // the fixture's server has another process name
    QVERIFY(!f.recorder.states().contains(QStringLiteral("StartingServer")));
    QVERIFY(!NamedServer::isRunning());
}

void tst_SessionStart::waitsForAServerThatIsAboutToListen()
{
    QProcess process;
    process.start(path(), QStringList());
    QVERIFY(process.waitForStarted(WaitLimitMs));
    SessionFixture f;
    QVERIFY(f.session.open());
    QVERIFY(f.waitFor(State::Ready));
    QVERIFY(!f.recorder.states().contains(QStringLiteral("StartingServer")));
    process.terminate();
    QVERIFY(process.waitForFinished(WaitLimitMs));
}

void tst_SessionStart::saysThatTheServerCannotBeStarted()
{
    SessionFixture f;
    SessionOptions options;
    options.serverPath = QStringLiteral("/no/such/server");
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.session.lastError().code, Code::ServerStartFailed);
    QVERIFY(f.session.lastError().text.contains(options.serverPath));
}

void tst_SessionStart::saysThatTheServerTakesNoConnections()
{
    const QTemporaryDir elsewhere;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), elsewhere.path());
    process.setProcessEnvironment(environment);
    process.start(path(), QStringList());
    QVERIFY(process.waitForReadyRead(WaitLimitMs)); // it says that it listens
    SessionFixture f;
    SessionOptions options;
    options.startTimeoutMs = 300;
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.session.lastError().code, Code::StartTimedOut);
    QVERIFY2(
        f.session.lastError().text.contains(QStringLiteral("process %1,").arg(process.processId())),
        qPrintable(f.session.lastError().text));
    process.terminate();
    QVERIFY(process.waitForFinished(WaitLimitMs));
}

void tst_SessionStart::saysThatTheServerEndedAtOnce()
{
    SessionFixture f;
    SessionOptions options;
    options.startTimeoutMs = 300;
    options.serverPath = QStringLiteral("/bin/true");
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.session.lastError().code, Code::StartTimedOut);
    QVERIFY(f.session.lastError().text.contains(QLatin1String("ended at once")));
}

void tst_SessionStart::startsTheServerAnewWhenItHasGone()
{
    SessionFixture f;
    QVERIFY(f.session.open());
    QVERIFY(f.waitFor(State::Ready));
    f.recorder.clear();
    NamedServer::sendSignal(SIGKILL);
    QTRY_VERIFY_WITH_TIMEOUT(f.recorder.states().contains(QStringLiteral("Ready")), WaitLimitMs);
    QCOMPARE(f.recorder.states(),
             QStringList({QStringLiteral("Lost"), QStringLiteral("StartingServer"),
                          QStringLiteral("Connecting"), QStringLiteral("Registering"),
                          QStringLiteral("Ready")}));
}

void tst_SessionStart::waitsForSomebodyElseToStartItAnew()
{
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    options.startsServer = true;
    options.serverPath = QStringLiteral("/no/such/server");
    QVERIFY(f.open({}, options));
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QTRY_VERIFY_WITH_TIMEOUT(f.recorder.states().contains(QStringLiteral("StartingServer")),
                             WaitLimitMs);
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY(f.server.start());
    QVERIFY(f.waitFor(State::Ready));
}

KSPROXY_TEST_MAIN(tst_SessionStart)
#include "tst_SessionStart.moc"
