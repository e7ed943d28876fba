#include "KsProxyTools.h"
#include "ProcessTable.h"
#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <thread>
#include <vector>

namespace {

const QMap<int, QString> OnlyTheNullDevice{{0, QStringLiteral("/dev/null")},
                                           {1, QStringLiteral("/dev/null")},
                                           {2, QStringLiteral("/dev/null")}};

/// Runs \a action in a process of its own, which ends with it; what it said, as exit code.
int runForked(const std::function<bool()> &action)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(action() ? 0 : 1);
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

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
    void hasASessionOfItsOwn();
    void hasNothingButTheNullDeviceOpen();
    void worksWithoutStandardStreams_data();
    void worksWithoutStandardStreams();
    void resetsTheSignalMask();
    void passesTheEnvironmentOn();
    void takesThePathAsOneName_data();
    void takesThePathAsOneName();
    void startsARelativePath();
    void doesNotSearchForTheName();
    void startsAScript();
    void refusesWhatCannotBeRun_data();
    void refusesWhatCannotBeRun();
    void keepsNoDescriptor();
    void saysTheTruthWithFewDescriptors();
    void startsFromAnyThread();
    void startsWhileChildrenAreIgnored();

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

void tst_ProcessStart::hasASessionOfItsOwn()
{
    const pid_t server = startWaiter();
    QVERIFY(server > 0);
    QVERIFY(getsid(server) > 0);
    QVERIFY(getsid(server) != getsid(0));
    QVERIFY(getpgid(server) != getpgid(0));
    QCOMPARE(ProcessTable::statField(server, 4), QByteArray("0")); // no terminal
}

void tst_ProcessStart::hasNothingButTheNullDeviceOpen()
{
    // None of these is closed by itself when another program runs.
    int pipes[2];
    int sockets[2];
    QCOMPARE(pipe(pipes), 0);
    QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    const int file = open("/dev/zero", O_RDONLY);
    const int high = fcntl(file, F_DUPFD, 500);
    QVERIFY(file >= 0 && high >= 500);
    const pid_t server = startWaiter();
    const QMap<int, QString> descriptors = ProcessTable::descriptors(server);
    for (const int fd : {pipes[0], pipes[1], sockets[0], sockets[1], file, high})
        QCOMPARE(close(fd), 0);
    QVERIFY(server > 0);
    QCOMPARE(descriptors, OnlyTheNullDevice);
    for (int fd = 0; fd <= 2; ++fd) {
        const QByteArray info = ProcessTable::file(server, QStringLiteral("fdinfo/%1").arg(fd));
        const int flags
            = info.mid(info.indexOf("flags:") + 6).split('\n').first().trimmed().toInt(nullptr, 8);
        QCOMPARE(flags & O_ACCMODE, O_RDWR);
    }
}

void tst_ProcessStart::worksWithoutStandardStreams_data()
{
    QTest::addColumn<QList<int>>("closed");
    QTest::newRow("no input") << QList<int>{0};
    QTest::newRow("no output") << QList<int>{1};
    QTest::newRow("no error output") << QList<int>{2};
    QTest::newRow("neither input nor output") << QList<int>{0, 1};
    QTest::newRow("neither input nor error output") << QList<int>{0, 2};
    QTest::newRow("neither output nor error output") << QList<int>{1, 2};
    QTest::newRow("none of the three") << QList<int>{0, 1, 2};
}

void tst_ProcessStart::worksWithoutStandardStreams()
{
    QFETCH(QList<int>, closed);
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QString missing = m_folder->filePath(QStringLiteral("missing"));
    const int exitCode = runForked([&] {
        for (const int fd : qAsConst(closed))
            close(fd);
        return KsProxyTools::startProcess(m_path) && !KsProxyTools::startProcess(missing);
    });
    QCOMPARE(exitCode, 0);
    const QList<pid_t> pids = ProcessTable::runningFrom(m_path);
    QCOMPARE(pids.size(), 1);
    QCOMPARE(ProcessTable::descriptors(pids.first()), OnlyTheNullDevice);
}

void tst_ProcessStart::resetsTheSignalMask()
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    QCOMPARE(pthread_sigmask(SIG_SETMASK, &all, &before), 0);
    const auto pipeAction = signal(SIGPIPE, SIG_IGN);
    const pid_t server = startWaiter();
    sigset_t kept;
    pthread_sigmask(SIG_SETMASK, &before, &kept);
    signal(SIGPIPE, pipeAction);
    QVERIFY(server > 0);
    QCOMPARE(sigismember(&kept, SIGUSR1), 1); // the application's own mask has not changed
    QCOMPARE(ProcessTable::statusLine(server, "SigBlk").toULongLong(nullptr, 16), 0ULL);
    const qulonglong ignored = ProcessTable::statusLine(server, "SigIgn").toULongLong(nullptr, 16);
    QCOMPARE(ignored & (1ULL << (SIGPIPE - 1)), 0ULL);
}

void tst_ProcessStart::passesTheEnvironmentOn()
{
    qputenv("KST_VARIABLE", "some value");
    const pid_t server = startWaiter();
    qunsetenv("KST_VARIABLE");
    QVERIFY(server > 0);
    QVERIFY(ProcessTable::file(server, QStringLiteral("environ"))
                .split('\0')
                .contains("KST_VARIABLE=some value"));
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

void tst_ProcessStart::keepsNoDescriptor()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QMap<int, QString> before = ProcessTable::descriptors(getpid());
    QVERIFY(KsProxyTools::startProcess(m_path));
    QVERIFY(!KsProxyTools::startProcess(m_folder->filePath(QStringLiteral("missing"))));
    QVERIFY(!KsProxyTools::startProcess(QString()));
    QCOMPARE(ProcessTable::descriptors(getpid()).keys(), before.keys());
}

void tst_ProcessStart::saysTheTruthWithFewDescriptors()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
    // The number that the next descriptor gets: below it all are in use.
    const int firstFree = dup(0);
    QVERIFY(firstFree >= 0);
    QCOMPARE(close(firstFree), 0);
    QList<bool> said;
    for (int free = 0; free <= 6; ++free) {
        rlimit few = before;
        few.rlim_cur = static_cast<rlim_t>(firstFree) + static_cast<rlim_t>(free);
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        said.append(KsProxyTools::startProcess(m_path));
        setrlimit(RLIMIT_NOFILE, &before);
        QCOMPARE(ProcessTable::runningFrom(m_path).size(), said.last() ? 1 : 0);
        ProcessTable::endAll(m_path);
    }
    QVERIFY(!said.first());
    QVERIFY(said.last());
}

void tst_ProcessStart::startsFromAnyThread()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    std::vector<std::thread> threads;
    std::array<bool, 4> isStarted{};
    for (bool &one : isStarted)
        threads.emplace_back([this, &one] { one = KsProxyTools::startProcess(m_path); });
    for (std::thread &thread : threads)
        thread.join();
    for (const bool one : isStarted)
        QVERIFY(one);
    const QList<pid_t> pids = ProcessTable::runningFrom(m_path);
    QCOMPARE(pids.size(), 4);
    for (const pid_t pid : pids)
        QCOMPARE(ProcessTable::descriptors(pid), OnlyTheNullDevice);
}

void tst_ProcessStart::startsWhileChildrenAreIgnored()
{
    const auto before = signal(SIGCHLD, SIG_IGN);
    const pid_t server = startWaiter();
    const bool isMissingStarted
        = KsProxyTools::startProcess(m_folder->filePath(QStringLiteral("missing")));
    signal(SIGCHLD, before);
    QVERIFY(server > 0);
    QVERIFY(!isMissingStarted);
}

KSPROXY_TEST_MAIN(tst_ProcessStart)
#include "tst_ProcessStart.moc"
