#include "ProcessTable.h"

#include "Waiting.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QThread>

#include <climits>
#include <csignal>
#include <unistd.h>

namespace {

QString folder(pid_t pid)
{
    return QStringLiteral("/proc/%1/").arg(pid);
}

// Not QFile::symLinkTarget, which makes a path of everything, also of "pipe:[1]".
QString linkTarget(const QString &link)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(QFile::encodeName(link).constData(), target, sizeof target);
    return length < 0 ? QString() : QFile::decodeName(QByteArray(target, static_cast<int>(length)));
}

} // namespace

QList<pid_t> ProcessTable::runningFrom(const QString &path)
{
    QList<pid_t> pids;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool isNumber = false;
        const pid_t pid = entry.toInt(&isNumber);
        if (!isNumber || !isRunning(pid))
            continue;
        const QString target = linkTarget(folder(pid) + QStringLiteral("exe"));
        if (target == path || target == path + QStringLiteral(" (deleted)"))
            pids.append(pid);
    }
    return pids;
}

bool ProcessTable::isRunning(pid_t pid)
{
    const QByteArray state = statField(pid, 0);
    return !state.isEmpty() && state != "Z" && state != "X";
}

void ProcessTable::endAll(const QString &path)
{
    const QList<pid_t> pids = runningFrom(path);
    for (const pid_t pid : pids)
        kill(pid, SIGKILL);
    const QDeadlineTimer deadline(WaitLimitMs);
    while (!runningFrom(path).isEmpty() && !deadline.hasExpired())
        QThread::msleep(1);
}

QByteArray ProcessTable::statField(pid_t pid, int index)
{
    const QByteArray stat = file(pid, QStringLiteral("stat"));
    const int nameEnd = stat.lastIndexOf(')');
    return nameEnd < 0 ? QByteArray() : stat.mid(nameEnd + 2).split(' ').value(index);
}

QByteArray ProcessTable::statusLine(pid_t pid, const QByteArray &name)
{
    const QList<QByteArray> lines = file(pid, QStringLiteral("status")).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed();
    }
    return QByteArray();
}

QByteArray ProcessTable::file(pid_t pid, const QString &name)
{
    QFile file(folder(pid) + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QMap<int, QString> ProcessTable::descriptors(pid_t pid)
{
    QMap<int, QString> open;
    const QDir dir(folder(pid) + QStringLiteral("fd"));
    const QStringList names
        = dir.entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        open.insert(name.toInt(), linkTarget(dir.filePath(name)));
    return open;
}

QString ProcessTable::uniqueName(int length, const QString &prefix)
{
    QString name = prefix;
    while (name.size() < length)
        name.append(QString::number(QRandomGenerator::system()->generate(), 36));
    return name.left(length);
}

bool ProcessTable::makeWaiter(const QString &path)
{
    return QFile::copy(QStringLiteral(KSPROXY_TEST_WAITER), path);
}

bool ProcessTable::makeExecutable(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size()
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}
