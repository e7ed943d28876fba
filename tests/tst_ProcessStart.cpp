#include "KsProxyTools.h"
#include "ProcessTable.h"
#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

namespace {

const QMap<int, QString> OnlyTheNullDevice{{0, QStringLiteral("/dev/null")},
                                           {1, QStringLiteral("/dev/null")},
                                           {2, QStringLiteral("/dev/null")}};

} // namespace

/// Tests of KsProxyTools::startProcess.
class tst_ProcessStart : public QObject
{
    Q_OBJECT

public:
    tst_ProcessStart()
    {
        // File names are in the locale's encoding, which has to know all of these.
        qputenv("LC_ALL", "C.UTF-8");
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void startsTheExecutable();
    void outlivesTheApplication();
    void isNoChildOfTheApplication();
    void leavesNoZombie();
    void leavesOtherChildrenAlone();
    void takesThePathAsOneName_data();
    void takesThePathAsOneName();
    void startsARelativePath();
    void doesNotSearchForTheName();
    void startsAScript();
    void refusesWhatCannotBeRun_data();
    void refusesWhatCannotBeRun();

private:
    /// A waiter at m_path, started; its process id, or -1 with a failed test.
    pid_t startWaiter();

    QScopedPointer<QTemporaryDir> m_folder;
    QString m_path;
};

void tst_ProcessStart::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    m_path = m_folder->filePath(QStringLiteral("kst-server"));
}

void tst_ProcessStart::cleanup()
{
    ProcessTable::endAll(m_path);
    QVERIFY(ProcessTable::runningFrom(m_path).isEmpty());
}

pid_t tst_ProcessStart::startWaiter()
{
    if (!ProcessTable::makeWaiter(m_path) || !KsProxyTools::startProcess(m_path))
        return -1;
    const QList<pid_t> pids = ProcessTable::runningFrom(m_path);
    return pids.size() == 1 ? pids.first() : -1;
}

void tst_ProcessStart::startsTheExecutable()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    QVERIFY(KsProxyTools::startProcess(m_path));
    QCOMPARE(ProcessTable::runningFrom(m_path).size(), 1);
    QVERIFY(KsProxyTools::startProcess(m_path));
    QCOMPARE(ProcessTable::runningFrom(m_path).size(), 2);
}

void tst_ProcessStart::outlivesTheApplication()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    // A group of its own, all of which is ended: what a terminal does to an application.
    pid_t application = -1;
    int report[2];
    QCOMPARE(pipe(report), 0);
    application = fork();
    if (application == 0) {
        setpgid(0, 0);
        signal(SIGHUP, SIG_DFL);
        const char started = KsProxyTools::startProcess(m_path) ? 'y' : 'n';
        if (write(report[1], &started, 1) == 1)
            pause();
        _exit(1);
    }
    char started = '?';
    QCOMPARE(read(report[0], &started, 1), ssize_t(1));
    close(report[0]);
    close(report[1]);
    QCOMPARE(started, 'y');
    const QList<pid_t> before = ProcessTable::runningFrom(m_path);
    QCOMPARE(before.size(), 1);
    QCOMPARE(kill(-application, SIGHUP), 0);
    QCOMPARE(waitpid(application, nullptr, 0), application);
    QVERIFY(ProcessTable::isRunning(before.first()));
    QCOMPARE(ProcessTable::runningFrom(m_path), before);
}

void tst_ProcessStart::isNoChildOfTheApplication()
{
    const pid_t server = startWaiter();
    QVERIFY(server > 0);
    QVERIFY(ProcessTable::statField(server, 1).toInt() != getpid());
}

void tst_ProcessStart::leavesNoZombie()
{
    QVERIFY(startWaiter() > 0);
    QVERIFY(!KsProxyTools::startProcess(m_folder->filePath(QStringLiteral("missing"))));
    // Neither a running child nor one that waits to be collected.
    QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    QCOMPARE(errno, ECHILD);
}

void tst_ProcessStart::leavesOtherChildrenAlone()
{
    const pid_t other = fork();
    if (other == 0)
        _exit(7);
    QVERIFY(startWaiter() > 0);
    int status = -1;
    QCOMPARE(waitpid(other, &status, 0), other);
    QCOMPARE(WEXITSTATUS(status), 7);
}

void tst_ProcessStart::takesThePathAsOneName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blanks") << QStringLiteral("my own server");
    QTest::newRow("a blank at the end") << QStringLiteral("server ");
    QTest::newRow("like options") << QStringLiteral("server --verbose -x");
    QTest::newRow("quotes") << QStringLiteral("\"server\" 'x'");
    QTest::newRow("marks of a shell") << QStringLiteral("a;b&c|d$HOME*`e`");
    QTest::newRow("a line end") << QStringLiteral("a\nb");
    QTest::newRow("UTF-8") << QStringLiteral("serv\u00E9r \u65E5\u672C");
    QTest::newRow("parentheses") << QStringLiteral("a) R (b");
}

void tst_ProcessStart::takesThePathAsOneName()
{
    QFETCH(QString, name);
    m_path = m_folder->filePath(name);
    QVERIFY(ProcessTable::makeWaiter(m_path));
    QVERIFY(KsProxyTools::startProcess(m_path));
    const QList<pid_t> pids = ProcessTable::runningFrom(m_path);
    QCOMPARE(pids.size(), 1);
    // No other argument than the name.
    QCOMPARE(ProcessTable::file(pids.first(), QStringLiteral("cmdline")),
             QFile::encodeName(m_path) + '\0');
}

void tst_ProcessStart::startsARelativePath()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_folder->path()));
    const bool isStarted = KsProxyTools::startProcess(QStringLiteral("./kst-server"));
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(isStarted);
    QCOMPARE(ProcessTable::runningFrom(m_path).size(), 1);
}

void tst_ProcessStart::doesNotSearchForTheName()
{
    const QTemporaryDir empty;
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QString before = QDir::currentPath();
    const QByteArray pathBefore = qgetenv("PATH");
    QVERIFY(QDir::setCurrent(empty.path()));
    qputenv("PATH", QFile::encodeName(m_folder->path()) + ':' + pathBefore);
    const bool isOwnStarted = KsProxyTools::startProcess(QStringLiteral("kst-server"));
    const bool isTrueStarted = KsProxyTools::startProcess(QStringLiteral("true"));
    qputenv("PATH", pathBefore);
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(!isOwnStarted);
    QVERIFY(!isTrueStarted);
    QVERIFY(ProcessTable::runningFrom(m_path).isEmpty());
}

void tst_ProcessStart::startsAScript()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QString script = m_folder->filePath(QStringLiteral("script"));
    QVERIFY(
        ProcessTable::makeExecutable(script, "#!" + QFile::encodeName(m_path) + "\nwhatever\n"));
    QVERIFY(KsProxyTools::startProcess(script));
    QCOMPARE(ProcessTable::runningFrom(m_path).size(), 1);
}

void tst_ProcessStart::refusesWhatCannotBeRun_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("the folder") << QStringLiteral(".");
    QTest::newRow("a missing file") << QStringLiteral("missing");
    QTest::newRow("a file in a missing folder") << QStringLiteral("missing/kst-server");
    QTest::newRow("a file taken for a folder") << QStringLiteral("kst-server/kst-server");
    QTest::newRow("a file that is not executable") << QStringLiteral("plain");
    QTest::newRow("a text without an interpreter") << QStringLiteral("text");
    QTest::newRow("a missing interpreter") << QStringLiteral("badscript");
    QTest::newRow("an empty file") << QStringLiteral("empty");
    QTest::newRow("a broken executable") << QStringLiteral("broken");
    QTest::newRow("a link to nothing") << QStringLiteral("link");
    QTest::newRow("a name with an argument") << QStringLiteral("kst-server --verbose");
    QTest::newRow("a name with a blank behind it") << QStringLiteral("kst-server ");
    QTest::newRow("a name in quotes") << QStringLiteral("\"kst-server\"");
    QTest::newRow("a name with a zero character") << QStringLiteral("kst-server\0x").left(12);
    QTest::newRow("a name that is too long") << QString(5000, QLatin1Char('x'));
}

void tst_ProcessStart::refusesWhatCannotBeRun()
{
    QFETCH(QString, name);
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const auto path = [this](const char *file) { return m_folder->filePath(QLatin1String(file)); };
    QVERIFY(QFile::copy(m_path, path("plain")));
    QVERIFY(QFile::setPermissions(path("plain"), QFile::ReadOwner | QFile::WriteOwner));
    QVERIFY(ProcessTable::makeExecutable(path("text"), "exec ./kst-server\n"));
    QVERIFY(ProcessTable::makeExecutable(path("badscript"), "#!/missing/interpreter\n"));
    QVERIFY(ProcessTable::makeExecutable(path("empty"), ""));
    QVERIFY(ProcessTable::makeExecutable(path("broken"),
                                         "\x7F"
                                         "ELF and nothing more"));
    QVERIFY(QFile::link(path("missing"), path("link")));
    QVERIFY(!KsProxyTools::startProcess(m_folder->path() + QLatin1Char('/') + name));
    QVERIFY(ProcessTable::runningFrom(m_path).isEmpty());
    QVERIFY(!KsProxyTools::startProcess(QString()));
    QVERIFY(!KsProxyTools::startProcess(QStringLiteral("")));
}

KSPROXY_TEST_MAIN(tst_ProcessStart)
#include "tst_ProcessStart.moc"
