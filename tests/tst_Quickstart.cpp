#include "KsProxyTools.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace {

const QString ServerName = QStringLiteral("KVTServerMaster");

bool isServerRunning()
{
    unsigned long long pid = 0;
    return KsProxyTools::checkProcessRunning(ServerName, pid);
}

} // namespace

/// The example as a user runs it. It looks for the server by its process name, so no other may run
/// on this machine meanwhile.
class tst_Quickstart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsTheServerAndReadsBackWhatItWrote();
    void usesAServerThatIsRunning();
    void saysThatTheServerCannotBeStarted();

private:
    void run(const QStringList &arguments = QStringList());

    int m_exitCode = -1;
    QString m_output;
};

void tst_Quickstart::init()
{
    QVERIFY2(!isServerRunning(), "a device server is running on this machine: stop it first");
}

void tst_Quickstart::cleanup()
{
    unsigned long long pid = 0;
    if (KsProxyTools::checkProcessRunning(ServerName, pid))
        ::kill(static_cast<pid_t>(pid), SIGTERM);
    QTRY_VERIFY_WITH_TIMEOUT(!isServerRunning(), WaitLimitMs);
    QVERIFY(!QFile::exists(testFolder() + QLatin1String("/tarnSver")));
}

void tst_Quickstart::run(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(KSPROXY_QUICKSTART_PROGRAM), arguments);
    QVERIFY(process.waitForFinished(WaitLimitMs));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    m_exitCode = process.exitCode();
    m_output = QString::fromLocal8Bit(process.readAllStandardOutput());
}

void tst_Quickstart::startsTheServerAndReadsBackWhatItWrote()
{
    run();
    QVERIFY2(m_exitCode == 0, qPrintable(m_output));
    for (const char *text :
         {"No device server is running: starting ",
          "Registered with server version " KSPROXY_VERSION, "Connecting COM1 ...",
          "5 pieces of equipment", "Wrote 17 bytes", "Read back: Hello, equipment!",
          "That is what was written.", "Broadcast: KVTServerMaster", "Done."})
        QVERIFY2(m_output.contains(QLatin1String(text)), qPrintable(m_output));
    QVERIFY(isServerRunning()); // it outlives the application
}

void tst_Quickstart::usesAServerThatIsRunning()
{
    run();
    QCOMPARE(m_exitCode, 0);
    run();
    QVERIFY2(m_exitCode == 0, qPrintable(m_output));
    QVERIFY2(m_output.contains(QLatin1String("A device server is running, process ")),
             qPrintable(m_output));
}

void tst_Quickstart::saysThatTheServerCannotBeStarted()
{
    run({QStringLiteral("/no/such/server")});
    QCOMPARE(m_exitCode, 1);
    QVERIFY2(m_output.contains(QLatin1String("starting /no/such/server")), qPrintable(m_output));
    QVERIFY(m_output.contains(QLatin1String("It cannot be started")));
    QVERIFY(m_output.endsWith(QLatin1String("Failed.\n")));
}

KSPROXY_TEST_MAIN(tst_Quickstart)
#include "tst_Quickstart.moc"
