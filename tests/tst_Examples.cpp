#include "NamedServer.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QProcess>
#include <QTest>

namespace {

const QString Quickstart = QStringLiteral(KSPROXY_QUICKSTART_PROGRAM);
const QString Session = QStringLiteral(KSPROXY_SESSION_PROGRAM);

QString written(const char *name, const char *text)
{
    QFile file(testFolder() + QLatin1Char('/') + QLatin1String(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) < 0)
        qFatal("%s cannot be written", name);
    return file.fileName();
}

} // namespace

/// The examples as a user runs them. They look for the server by its process name, so no other may
/// run on this machine meanwhile.
class tst_Examples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsTheServerAndReadsBackWhatItWrote();
    void usesAServerThatIsRunning();
    void saysThatTheServerCannotBeStarted();
    void doesTheSameWithASession();
    void saysThatASessionCannotStartTheServer();
    void saysThatThereIsNoEquipment();
    void saysThatTheServerHasGone();
    void runsWhatTheDemoProposes();

private:
    void run(const QString &program, const QStringList &arguments = QStringList());

    int m_exitCode = -1;
    QString m_output;
};

void tst_Examples::init()
{
    QVERIFY2(!NamedServer::isRunning(),
             "a device server is running on this machine: stop it first");
}

void tst_Examples::cleanup()
{
    QVERIFY(NamedServer::stop());
    QVERIFY(!QFile::exists(testFolder() + QLatin1String("/tarnSver")));
}

void tst_Examples::run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    QVERIFY(process.waitForFinished(WaitLimitMs));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    m_exitCode = process.exitCode();
    m_output = QString::fromLocal8Bit(process.readAllStandardOutput());
}

void tst_Examples::startsTheServerAndReadsBackWhatItWrote()
{
    run(Quickstart);
    QVERIFY2(m_exitCode == 0, qPrintable(m_output));
    for (const char *text :
         {"No device server is running: starting ",
          "Registered with server version " KSPROXY_VERSION, "Connecting COM1 ...",
          "5 pieces of equipment", "Wrote 17 bytes", "Read back: Hello, equipment!",
          "That is what was written.", "Broadcast: KVTServerMaster", "Done."})
        QVERIFY2(m_output.contains(QLatin1String(text)), qPrintable(m_output));
    QVERIFY(NamedServer::isRunning()); // it outlives the application
}

void tst_Examples::usesAServerThatIsRunning()
{
    run(Quickstart);
    QCOMPARE(m_exitCode, 0);
    run(Quickstart);
    QVERIFY2(m_exitCode == 0, qPrintable(m_output));
    QVERIFY2(m_output.contains(QLatin1String("A device server is running, process ")),
             qPrintable(m_output));
}

void tst_Examples::saysThatTheServerCannotBeStarted()
{
    run(Quickstart, {QStringLiteral("/no/such/server")});
    QCOMPARE(m_exitCode, 1);
    QVERIFY2(m_output.contains(QLatin1String("starting /no/such/server")), qPrintable(m_output));
    QVERIFY(m_output.contains(QLatin1String("It cannot be started")));
    QVERIFY(m_output.endsWith(QLatin1String("Failed.\n")));
}

void tst_Examples::doesTheSameWithASession()
{
    run(Session);
    QVERIFY2(m_exitCode == 0, qPrintable(m_output));
    for (const char *text :
         {"Registered with server version " KSPROXY_VERSION, "Controller in the LAN, connected",
          "Read back from 192.168.0.20:5000: Hello, equipment!", "Done."})
        QVERIFY2(m_output.contains(QLatin1String(text)), qPrintable(m_output));
    QVERIFY(NamedServer::isRunning());
}

void tst_Examples::saysThatASessionCannotStartTheServer()
{
    run(Session, {QStringLiteral("/no/such/server")});
    QCOMPARE(m_exitCode, 1);
    QVERIFY2(m_output.contains(QLatin1String("\"/no/such/server\" cannot be started")),
             qPrintable(m_output));
    QVERIFY(m_output.endsWith(QLatin1String("Failed.\n")));
}

void tst_Examples::saysThatThereIsNoEquipment()
{
    ServerProcess server;
    QVERIFY(
        server.start({QStringLiteral("--config"), written("none.json", R"({"equipment": []})")}));
    run(Session);
    QCOMPARE(m_exitCode, 1);
    QVERIFY2(m_output.contains(QLatin1String("The server has no equipment.")),
             qPrintable(m_output));
    server.terminate();
    QVERIFY(server.waitForEnd());
}

// It goes when it should say (7) that it connects all controllers.
void tst_Examples::saysThatTheServerHasGone()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--scenario"),
                          written("gone.json", R"({"faults": [{"fault": "exit", "ids": [7]}]})")}));
    run(Session);
    QCOMPARE(m_exitCode, 1);
    QVERIFY2(m_output.contains(QLatin1String("The connection to the server is broken.")),
             qPrintable(m_output));
    QVERIFY(server.waitForEnd());
    QVERIFY(NamedServer::stop()); // the session may have started another
    QFile::remove(testFolder() + QLatin1String("/tarnSver")); // this one went without a goodbye
}

// The commands that ./dev demo ends with, as a user copies them.
void tst_Examples::runsWhatTheDemoProposes()
{
    QFile script(QStringLiteral(KSPROXY_SOURCE_FOLDER "/dev"));
    QVERIFY(script.open(QIODevice::ReadOnly));
    const QString printedProgram = QStringLiteral("  build/release/bin/ksproxyctl ");
    QStringList commands;
    while (!script.atEnd()) {
        const QString line = QString::fromUtf8(script.readLine());
        if (line.startsWith(printedProgram))
            commands.append(QStringLiteral(KSPROXY_CTL_PROGRAM " ")
                            + line.mid(printedProgram.size()));
    }
    QCOMPARE(commands.size(), 3);
    for (const QString &command : qAsConst(commands)) {
        run(QStringLiteral("bash"), {QStringLiteral("-c"), command});
        QVERIFY2(m_exitCode == 0, qPrintable(command + m_output));
    }
    QVERIFY2(m_output.contains(QLatin1String("|Hello, equipment|")), qPrintable(m_output));
}

KSPROXY_TEST_MAIN(tst_Examples)
#include "tst_Examples.moc"
