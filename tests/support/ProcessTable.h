#ifndef PROCESSTABLE_H
#define PROCESSTABLE_H

#include <QList>
#include <QMap>
#include <QString>

#include <sys/types.h>

/// What the kernel says of processes, and what tests need to make and end some of their own.
namespace ProcessTable {

/// The processes, zombies left out, whose executable is the file \a path, which may be deleted.
QList<pid_t> runningFrom(const QString &path);
/// Whether \a pid is a process and no zombie.
bool isRunning(pid_t pid);
/// Ends the processes whose executable is \a path, and waits until they are gone.
void endAll(const QString &path);

/// A field of `/proc/pid/stat` that follows the name: 0 the state, 1 the parent, 2 the process
/// group, 3 the session, 4 the terminal.
QByteArray statField(pid_t pid, int index);
/// A line of `/proc/pid/status`.
QByteArray statusLine(pid_t pid, const QByteArray &name);
/// A whole file of `/proc/pid`.
QByteArray file(pid_t pid, const QString &name);
/// The open descriptors and what they are open on.
QMap<int, QString> descriptors(pid_t pid);

/// A name of \a length characters that no other process has. It begins with \a prefix.
QString uniqueName(int length, const QString &prefix = QStringLiteral("kst"));
/// A copy, at \a path, of the program that waits until it is ended.
bool makeWaiter(const QString &path);
/// An executable file at \a path with that content.
bool makeExecutable(const QString &path, const QByteArray &content);

} // namespace ProcessTable

#endif
