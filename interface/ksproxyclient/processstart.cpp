#include "KsProxyTools.h"

#include "Guarded.h"

#include <QFile>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

// Everything below up to startProcess runs between fork and exec, where only what signal-safety(7)
// lists may be called.

// Several times: an end that stays unsaid would count as a start.
[[noreturn]] void fail(int report)
{
    const int error = errno;
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (write(report, &error, sizeof error) == sizeof error)
            _exit(1);
    }
    _exit(2);
}

void restoreSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
}

// Standard streams on the null device and, above them, nothing but the report pipe.
bool replaceDescriptors(int report)
{
    const int null = open("/dev/null", O_RDWR);
    if (null < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(null, STDOUT_FILENO) < 0
        || dup2(null, STDERR_FILENO) < 0)
        return false;
    for (int fd = STDERR_FILENO + 1; fd < report; ++fd)
        close(fd);
    closefrom(report + 1);
    return true;
}

[[noreturn]] void runServer(const char *path, int inheritedReport)
{
    restoreSignals();
    // Out of the way of the standard streams: an application may have closed its own.
    const int report = fcntl(inheritedReport, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (report < 0)
        fail(inheritedReport);
    if (!replaceDescriptors(report))
        fail(report);
    char *const arguments[] = {const_cast<char *>(path), nullptr};
    execv(path, arguments);
    fail(report);
}

// The process in the middle ends at once, so that the server belongs to init and is collected
// there, not by the application.
[[noreturn]] void runMiddle(const char *path, int report)
{
    setsid();
    const pid_t server = fork();
    if (server < 0)
        fail(report);
    if (server == 0)
        runServer(path, report);
    _exit(0);
}

void collect(pid_t child)
{
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) { }
}

// The other end closes without a word when the executable runs.
bool isReportEmpty(int report)
{
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(report, &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    return count == 0;
}

bool start(const QByteArray &file)
{
    if (file.contains('\0'))
        return false; // the system would take what stands before it for the name
    int report[2];
    if (pipe2(report, O_CLOEXEC) < 0)
        return false;
    const pid_t middle = fork();
    if (middle == 0)
        runMiddle(file.constData(), report[1]);
    close(report[1]);
    bool started = false;
    if (middle > 0) {
        collect(middle);
        started = isReportEmpty(report[0]);
    }
    close(report[0]);
    return started;
}

} // namespace

bool KsProxyTools::startProcess(const QString &path)
{
    return guarded([&path] { return start(QFile::encodeName(path)); }, false);
}
