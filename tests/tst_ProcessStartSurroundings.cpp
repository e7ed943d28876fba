#include "KsProxyTools.h"
#include "ProcessTable.h"
#include "TestMain.h"

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

/// What a started process finds: session, streams, descriptors, signals, environment.
class tst_ProcessStartSurroundings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void hasASessionOfItsOwn();
    void hasNothingButTheNullDeviceOpen();
    void worksWithoutStandardStreams_data();
    void worksWithoutStandardStreams();
    void resetsTheSignalMask();
    void passesTheEnvironmentOn();
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

void tst_ProcessStartSurroundings::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    m_path = m_folder->filePath(QStringLiteral("kst-server"));
}

void tst_ProcessStartSurroundings::cleanup()
{
    ProcessTable::endAll(m_path);
    QVERIFY(ProcessTable::runningFrom(m_path).isEmpty());
}

pid_t tst_ProcessStartSurroundings::startWaiter()
{
    if (!ProcessTable::makeWaiter(m_path) || !KsProxyTools::startProcess(m_path))
        return -1;
    const QList<pid_t> pids = ProcessTable::runningFrom(m_path);
    return pids.size() == 1 ? pids.first() : -1;
}

void tst_ProcessStartSurroundings::hasASessionOfItsOwn()
{
    const pid_t server = startWaiter();
    QVERIFY(server > 0);
    QVERIFY(getsid(server) > 0);
    QVERIFY(getsid(server) != getsid(0));
    QVERIFY(getpgid(server) != getpgid(0));
    QCOMPARE(ProcessTable::statField(server, 4), QByteArray("0")); // no terminal
}

void tst_ProcessStartSurroundings::hasNothingButTheNullDeviceOpen()
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

void tst_ProcessStartSurroundings::worksWithoutStandardStreams_data()
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

void tst_ProcessStartSurroundings::worksWithoutStandardStreams()
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

void tst_ProcessStartSurroundings::resetsTheSignalMask()
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

void tst_ProcessStartSurroundings::passesTheEnvironmentOn()
{
    qputenv("KST_VARIABLE", "some value");
    const pid_t server = startWaiter();
    qunsetenv("KST_VARIABLE");
    QVERIFY(server > 0);
    QVERIFY(ProcessTable::file(server, QStringLiteral("environ"))
                .split('\0')
                .contains("KST_VARIABLE=some value"));
}

void tst_ProcessStartSurroundings::keepsNoDescriptor()
{
    QVERIFY(ProcessTable::makeWaiter(m_path));
    const QMap<int, QString> before = ProcessTable::descriptors(getpid());
    QVERIFY(KsProxyTools::startProcess(m_path));
    QVERIFY(!KsProxyTools::startProcess(m_folder->filePath(QStringLiteral("missing"))));
    QVERIFY(!KsProxyTools::startProcess(QString()));
    QCOMPARE(ProcessTable::descriptors(getpid()).keys(), before.keys());
}

void tst_ProcessStartSurroundings::saysTheTruthWithFewDescriptors()
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

void tst_ProcessStartSurroundings::startsFromAnyThread()
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

void tst_ProcessStartSurroundings::startsWhileChildrenAreIgnored()
{
    const auto before = signal(SIGCHLD, SIG_IGN);
    const pid_t server = startWaiter();
    const bool isMissingStarted
        = KsProxyTools::startProcess(m_folder->filePath(QStringLiteral("missing")));
    signal(SIGCHLD, before);
    QVERIFY(server > 0);
    QVERIFY(!isMissingStarted);
}

KSPROXY_TEST_MAIN(tst_ProcessStartSurroundings)
#include "tst_ProcessStartSurroundings.moc"
