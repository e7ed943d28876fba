#include "WorkerPool.h"

#include "TestMain.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

WorkerPool::WorkerPool(const QString &folder)
    : m_folder(folder)
{ }

QList<KillOutcome> WorkerPool::run(int count, const Work &work)
{
    QList<KillOutcome> outcomes;
    int ends[2];
    if (pipe(ends) != 0)
        qFatal("no pipe");
    QList<pid_t> workers;
    for (int number = 0; number < count; ++number) {
        const pid_t pid = fork();
        if (pid == 0) {
            close(ends[0]);
            become(number, ends[1], work);
        }
        workers.append(pid);
    }
    close(ends[1]);
    KillOutcome outcome;
    // Each arrives as a whole: it is smaller than what a pipe takes in one piece.
    while (read(ends[0], &outcome, sizeof outcome) == sizeof outcome)
        outcomes.append(outcome);
    close(ends[0]);
    for (const pid_t pid : qAsConst(workers)) {
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid || status != 0)
            ++m_failed;
    }
    return outcomes;
}

int WorkerPool::failed() const
{
    return m_failed;
}

// Ends with exit, so that what a sanitizer does at the end of a program is done.
void WorkerPool::become(int number, int reportEnd, const Work &work) const
{
    const QString folder = m_folder + QStringLiteral("/%1").arg(number);
    QDir().mkpath(folder);
    qputenv("TMPDIR", folder.toLocal8Bit());
    setTestFolder(folder);
    int result = 0;
    {
        int argc = 1;
        char name[] = "worker";
        char *argv[] = {name, nullptr};
        const QCoreApplication application(argc, argv);
        result = work(number, [reportEnd](const KillOutcome &outcome) {
            if (write(reportEnd, &outcome, sizeof outcome) != sizeof outcome)
                std::exit(1);
        });
    }
    std::exit(result);
}

static_assert(sizeof(KillOutcome) <= 512, "what a pipe takes in one piece everywhere");
