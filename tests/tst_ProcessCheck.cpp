#include "KsProxyTools.h"
#include "ProcessTable.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

constexpr unsigned long long Untouched = 987654321012345ULL;

/// What a check says of a process with that name: its id, or Untouched where there is none.
unsigned long long found(const QString &name)
{
    unsigned long long pid = Untouched;
    const bool isRunning = KsProxyTools::checkProcessRunning(name, pid);
    return isRunning == (pid != Untouched) ? pid : 0;
}

/// A child that the kernel knows by that name and that waits; -1 when it cannot be had.
pid_t forkNamed(const QByteArray &name)
{
    int named[2];
    if (pipe(named) != 0)
        return -1;
    const pid_t child = fork();
    if (child == 0) {
        alarm(300);
        const bool isNamed = prctl(PR_SET_NAME, name.constData()) == 0;
        while (isNamed && write(named[1], "x", 1) == 1)
            pause();
        _exit(1);
    }
    close(named[1]);
    char byte = 0;
    const bool isNamed = read(named[0], &byte, 1) == 1;
    close(named[0]);
    return isNamed ? child : -1;
}

} // namespace

/// Tests of KsProxyTools::checkProcessRunning.
class tst_ProcessCheck : public QObject
{
    Q_OBJECT

public:
    tst_ProcessCheck()
    {
        // File names are in the locale's encoding, which has to know all of these.
        qputenv("LC_ALL", "C.UTF-8");
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void findsAProcess_data();
    void findsAProcess();
    void findsOneOfSeveral();
    void findsNothingOnceTheProcessHasEnded();
    void findsNothingUnderOtherNames_data();
    void findsNothingUnderOtherNames();
    void ignoresZombies();
    void findsNothingWithoutAName();
    void tellsLongNamesApart_data();
    void tellsLongNamesApart();
    void tellsLongNamesApartWhenBothRun();
    void tellsNamesApartInUtf8();
    void findsScripts_data();
    void findsScripts();
    void findsAProcessWhoseFileIsGone_data();
    void findsAProcessWhoseFileIsGone();
    void findsAProcessStartedThroughALink();
    void findsAProcessStartedThroughALinkToALongerName();
    void findsAProcessWhoseFileWasRenamed();
    void keepsNoDescriptor();

private:
    QString path(const QString &name) const
    {
        return m_folder->filePath(name);
    }
    /// Runs the file \a name of the folder; its process id, or 0.
    unsigned long long run(const QString &name);
    /// The same with a copy of the program that waits.
    unsigned long long runWaiter(const QString &name);

    QScopedPointer<QTemporaryDir> m_folder;
    QList<QProcess *> m_processes;
};

void tst_ProcessCheck::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
}

void tst_ProcessCheck::cleanup()
{
    for (QProcess *const process : qAsConst(m_processes)) {
        process->kill();
        process->waitForFinished(WaitLimitMs);
        delete process;
    }
    m_processes.clear();
}

unsigned long long tst_ProcessCheck::run(const QString &name)
{
    auto *const process = new QProcess;
    m_processes.append(process);
    process->start(path(name), QStringList());
    return process->waitForStarted(WaitLimitMs)
        ? static_cast<unsigned long long>(process->processId())
        : 0;
}

unsigned long long tst_ProcessCheck::runWaiter(const QString &name)
{
    return ProcessTable::makeWaiter(path(name)) ? run(name) : 0;
}

void tst_ProcessCheck::findsAProcess_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("prefix");
    const QString plain = QStringLiteral("kst");
    QTest::newRow("10 characters") << 10 << plain;
    QTest::newRow("14 characters") << 14 << plain;
    QTest::newRow("15 characters, all that the kernel keeps") << 15 << plain;
    QTest::newRow("16 characters") << 16 << plain;
    QTest::newRow("40 characters") << 40 << plain;
    QTest::newRow("200 characters") << 200 << plain;
    QTest::newRow("blanks") << 14 << QStringLiteral("a b  c ");
    QTest::newRow("a blank first") << 14 << QStringLiteral(" ab");
    QTest::newRow("parentheses") << 14 << QStringLiteral("(a)b");
    QTest::newRow("a parenthesis first") << 14 << QStringLiteral(")a");
    QTest::newRow("like the end of a name and a state") << 14 << QStringLiteral("a) Z 1");
    QTest::newRow("long, with blanks and parentheses") << 40 << QStringLiteral("a) Z (b c) ");
    QTest::newRow("a line end") << 14 << QStringLiteral("a\nb");
    QTest::newRow("UTF-8") << 12 << QStringLiteral("\u00E9");
    QTest::newRow("a name like a number") << 14 << QStringLiteral("1234");
}

void tst_ProcessCheck::findsAProcess()
{
    QFETCH(int, length);
    QFETCH(QString, prefix);
    const QString name = ProcessTable::uniqueName(length, prefix);
    QCOMPARE(found(name), Untouched);
    const unsigned long long pid = runWaiter(name);
    QVERIFY(pid > 0);
    QCOMPARE(found(name), pid);
}

void tst_ProcessCheck::findsOneOfSeveral()
{
    const QString name = ProcessTable::uniqueName(12);
    const unsigned long long first = runWaiter(name);
    const unsigned long long second = run(name);
    QVERIFY(first > 0 && second > 0 && first != second);
    const unsigned long long one = found(name);
    QVERIFY(one == first || one == second);
    kill(static_cast<pid_t>(one), SIGKILL);
    QTRY_COMPARE_WITH_TIMEOUT(found(name), one == first ? second : first, WaitLimitMs);
}

void tst_ProcessCheck::findsNothingOnceTheProcessHasEnded()
{
    const QString name = ProcessTable::uniqueName(12);
    const unsigned long long pid = runWaiter(name);
    QCOMPARE(found(name), pid);
    m_processes.first()->kill();
    QVERIFY(m_processes.first()->waitForFinished(WaitLimitMs));
    QCOMPARE(found(name), Untouched);
}

void tst_ProcessCheck::findsNothingUnderOtherNames_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("a short name") << 10;
    QTest::newRow("15 characters") << 15;
    QTest::newRow("30 characters") << 30;
}

void tst_ProcessCheck::findsNothingUnderOtherNames()
{
    QFETCH(int, length);
    const QString name = ProcessTable::uniqueName(length);
    const unsigned long long pid = runWaiter(name);
    QVERIFY(pid > 0);
    QCOMPARE(found(QString()), Untouched);
    QCOMPARE(found(QStringLiteral("")), Untouched);
    QCOMPARE(found(name.left(length - 1)), Untouched);
    QCOMPARE(found(name.left(5)), Untouched);
    QCOMPARE(found(name.mid(1)), Untouched);
    QCOMPARE(found(name + QLatin1Char('x')), Untouched);
    QCOMPARE(found(name + QLatin1Char(' ')), Untouched);
    QCOMPARE(found(QLatin1Char(' ') + name), Untouched);
    QCOMPARE(found(name.toUpper()), Untouched);
    QCOMPARE(found(path(name)), Untouched);
    QCOMPARE(found(QLatin1Char('/') + name), Untouched);
    QCOMPARE(found(QString::number(pid)), Untouched);
    QCOMPARE(found(name), pid);
}

void tst_ProcessCheck::ignoresZombies()
{
    const QString name = ProcessTable::uniqueName(12);
    const pid_t child = forkNamed(name.toLatin1());
    QVERIFY(child > 0);
    QCOMPARE(found(name), static_cast<unsigned long long>(child));
    kill(child, SIGKILL);
    siginfo_t info{};
    // Waits until it has ended, but does not collect it.
    QCOMPARE(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    QCOMPARE(ProcessTable::statField(child, 0), QByteArray("Z"));
    const unsigned long long pid = found(name);
    QCOMPARE(waitpid(child, nullptr, 0), child);
    QCOMPARE(pid, Untouched);
}

void tst_ProcessCheck::findsNothingWithoutAName()
{
    // There are processes without a name, too.
    const pid_t child = forkNamed("");
    QVERIFY(child > 0);
    QVERIFY(ProcessTable::file(child, QStringLiteral("stat")).contains(" () "));
    const unsigned long long pid = found(QStringLiteral(""));
    kill(child, SIGKILL);
    QCOMPARE(waitpid(child, nullptr, 0), child);
    QCOMPARE(pid, Untouched);
}

void tst_ProcessCheck::tellsLongNamesApart_data()
{
    QTest::addColumn<int>("runningLength");
    QTest::addColumn<int>("otherLength");
    QTest::newRow("15 runs, 16 does not") << 15 << 16;
    QTest::newRow("16 runs, 15 does not") << 16 << 15;
    QTest::newRow("15 runs, 40 does not") << 15 << 40;
    QTest::newRow("40 runs, 15 does not") << 40 << 15;
    QTest::newRow("16 runs, 17 does not") << 16 << 17;
    QTest::newRow("17 runs, 16 does not") << 17 << 16;
    QTest::newRow("14 runs, 15 does not") << 14 << 15;
    QTest::newRow("15 runs, 14 does not") << 15 << 14;
}

void tst_ProcessCheck::tellsLongNamesApart()
{
    QFETCH(int, runningLength);
    QFETCH(int, otherLength);
    const QString longest = ProcessTable::uniqueName(40);
    const unsigned long long pid = runWaiter(longest.left(runningLength));
    QVERIFY(pid > 0);
    QCOMPARE(found(longest.left(otherLength)), Untouched);
    QCOMPARE(found(longest.left(runningLength)), pid);
}

void tst_ProcessCheck::tellsLongNamesApartWhenBothRun()
{
    const QString name = ProcessTable::uniqueName(15);
    const QStringList names{name, name + QStringLiteral("-one"), name + QStringLiteral("-two")};
    QList<unsigned long long> pids;
    for (const QString &one : names) {
        pids.append(runWaiter(one));
        QVERIFY(pids.last() > 0);
    }
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(found(names.at(i)), pids.at(i));
}

void tst_ProcessCheck::tellsNamesApartInUtf8()
{
    // The kernel cuts the name inside a character.
    const QString name = ProcessTable::uniqueName(14) + QStringLiteral("\u65E5\u672C");
    const QString other = name.left(14) + QStringLiteral("\u65E6\u672C");
    const unsigned long long pid = runWaiter(name);
    QVERIFY(pid > 0);
    QCOMPARE(found(name), pid);
    QCOMPARE(found(other), Untouched);
    QCOMPARE(found(name.left(14)), Untouched);
}

void tst_ProcessCheck::findsScripts_data()
{
    QTest::addColumn<QByteArray>("interpreter");
    QTest::addColumn<int>("length");
    QTest::newRow("a short name") << QByteArray("#!/bin/sh") << 10;
    QTest::newRow("15 characters") << QByteArray("#!/bin/sh") << 15;
    QTest::newRow("16 characters") << QByteArray("#!/bin/sh") << 16;
    QTest::newRow("40 characters") << QByteArray("#!/bin/sh") << 40;
    QTest::newRow("an option of the interpreter, a short name") << QByteArray("#!/bin/sh -u") << 10;
    QTest::newRow("an option of the interpreter, 15 characters")
        << QByteArray("#!/bin/sh -u") << 15;
    QTest::newRow("an option of the interpreter, 40 characters")
        << QByteArray("#!/bin/sh -u") << 40;
}

void tst_ProcessCheck::findsScripts()
{
    QFETCH(QByteArray, interpreter);
    QFETCH(int, length);
    const QString name = ProcessTable::uniqueName(length);
    // It reads from a pipe that nobody writes to.
    QVERIFY(ProcessTable::makeExecutable(path(name), interpreter + "\nread line\n"));
    const unsigned long long pid = run(name);
    QVERIFY(pid > 0);
    QCOMPARE(found(name), pid);
    QCOMPARE(found(name + QLatin1Char('x')), Untouched);
    QCOMPARE(found(name.left(length - 1)), Untouched);
    if (length > 15)
        QCOMPARE(found(name.left(15)), Untouched);
}

void tst_ProcessCheck::findsAProcessWhoseFileIsGone_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("a short name") << 10;
    QTest::newRow("15 characters") << 15;
    QTest::newRow("16 characters") << 16;
    QTest::newRow("40 characters") << 40;
}

void tst_ProcessCheck::findsAProcessWhoseFileIsGone()
{
    QFETCH(int, length);
    const QString name = ProcessTable::uniqueName(length);
    const unsigned long long pid = runWaiter(name);
    QVERIFY(pid > 0);
    QVERIFY(QFile::remove(path(name)));
    QCOMPARE(found(name), pid);
    QCOMPARE(found(name + QStringLiteral(" (deleted)")), Untouched);
    if (length > 15)
        QCOMPARE(found(name.left(15)), Untouched);
    // A new version in the same place changes nothing.
    QVERIFY(ProcessTable::makeWaiter(path(name)));
    QCOMPARE(found(name), pid);
}

void tst_ProcessCheck::findsAProcessStartedThroughALink()
{
    const QString link = ProcessTable::uniqueName(15);
    const QString target = ProcessTable::uniqueName(12, QStringLiteral("other"));
    QVERIFY(ProcessTable::makeWaiter(path(target)));
    QVERIFY(QFile::link(path(target), path(link)));
    const unsigned long long pid = run(link);
    QVERIFY(pid > 0);
    QCOMPARE(found(link), pid);
    QCOMPARE(found(target), Untouched);
}

void tst_ProcessCheck::findsAProcessStartedThroughALinkToALongerName()
{
    const QString link = ProcessTable::uniqueName(15);
    const QString target = link + QLatin1String("-1.2");
    QVERIFY(ProcessTable::makeWaiter(path(target)));
    QVERIFY(QFile::link(path(target), path(link)));
    const unsigned long long pid = run(link);
    QVERIFY(pid > 0);
    QCOMPARE(found(link), pid);
}

void tst_ProcessCheck::findsAProcessWhoseFileWasRenamed()
{
    const QString name = ProcessTable::uniqueName(15);
    QVERIFY(ProcessTable::makeWaiter(path(name)));
    const unsigned long long pid = run(name);
    QVERIFY(pid > 0);
    QVERIFY(QFile::rename(path(name), path(name + QLatin1String(".old"))));
    QCOMPARE(found(name), pid);
}

void tst_ProcessCheck::keepsNoDescriptor()
{
    const QString name = ProcessTable::uniqueName(15);
    QVERIFY(runWaiter(name) > 0);
    const QMap<int, QString> before = ProcessTable::descriptors(getpid());
    for (int i = 0; i < 20; ++i) {
        QVERIFY(found(name) != Untouched);
        QCOMPARE(found(name + QLatin1Char('x')), Untouched);
        QCOMPARE(found(QString()), Untouched);
    }
    QCOMPARE(ProcessTable::descriptors(getpid()).keys(), before.keys());
}

KSPROXY_TEST_MAIN(tst_ProcessCheck)
#include "tst_ProcessCheck.moc"
