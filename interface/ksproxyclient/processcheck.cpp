#include "KsProxyTools.h"

#include "Guarded.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>

namespace {

// TASK_COMM_LEN of the kernel without its final zero, see proc(5) under /proc/pid/comm.
constexpr int KernelNameLength = 15;

using DirectoryHandle = std::unique_ptr<DIR, int (*)(DIR *)>;

// The beginning of a file that the kernel makes up; empty when it cannot be read.
QByteArray readProcFile(const QByteArray &path)
{
    const int fd = open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return QByteArray();
    std::array<char, PATH_MAX> content;
    ssize_t count = 0;
    do {
        count = read(fd, content.data(), content.size());
    } while (count < 0 && errno == EINTR);
    close(fd);
    return QByteArray(content.data(), static_cast<int>(qMax<ssize_t>(count, 0)));
}

QByteArray fileName(const QByteArray &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

QByteArray executableName(const QByteArray &processFolder)
{
    std::array<char, PATH_MAX> link;
    const ssize_t length = readlink((processFolder + "/exe").constData(), link.data(), link.size());
    QByteArray target(link.data(), static_cast<int>(qMax<ssize_t>(length, 0)));
    const QByteArray deleted(" (deleted)"); // what the kernel appends once the file was replaced
    if (target.endsWith(deleted))
        target.chop(deleted.size());
    return fileName(target);
}

// A name that fills what the kernel keeps may go on. The executable tells, then the command line,
// where the file of a script follows its interpreter and that one's option. Either may name another
// file, as when the executable was renamed or is reached through a link: one that tells the name is
// enough, and a process of which nothing tells a longer name has just the kernel's.
bool isNamedInFull(const QByteArray &name, const QByteArray &kernelName,
                   const QByteArray &processFolder)
{
    QList<QByteArray> candidates{executableName(processFolder)};
    const QList<QByteArray> words = readProcFile(processFolder + "/cmdline").split('\0');
    for (const QByteArray &word : words.mid(0, 3))
        candidates.append(fileName(word));
    if (candidates.contains(name))
        return true;
    const auto goesOn
        = [&kernelName](const QByteArray &candidate) { return candidate.startsWith(kernelName); };
    return name == kernelName && std::none_of(candidates.cbegin(), candidates.cend(), goesOn);
}

bool isProcessNamed(const QByteArray &processFolder, const QByteArray &name)
{
    // "pid (name) state ...", where the name may itself hold blanks and parentheses, see proc(5).
    const QByteArray stat = readProcFile(processFolder + "/stat");
    const int open = stat.indexOf('(');
    const int close = stat.lastIndexOf(')');
    if (open < 0 || close < open || close + 2 >= stat.size())
        return false;
    const QByteArray kernelName = stat.mid(open + 1, close - open - 1);
    const char state = stat.at(close + 2);
    if (state == 'Z' || state == 'X' || kernelName != name.left(KernelNameLength))
        return false;
    return kernelName.size() < KernelNameLength || isNamedInFull(name, kernelName, processFolder);
}

bool findProcess(const QString &name, unsigned long long *pid)
{
    const QByteArray wanted = QFile::encodeName(name);
    const DirectoryHandle directory(opendir("/proc"), closedir);
    if (!directory || wanted.isEmpty())
        return false;
    while (const dirent *entry = readdir(directory.get())) {
        bool isNumber = false;
        const qulonglong number = QByteArray(entry->d_name).toULongLong(&isNumber);
        if (isNumber && isProcessNamed(QByteArray("/proc/") + entry->d_name, wanted)) {
            *pid = number;
            return true;
        }
    }
    return false;
}

} // namespace

bool KsProxyTools::checkProcessRunning(const QString &name, unsigned long long &pid)
{
    return guarded([&] { return findProcess(name, &pid); }, false);
}
