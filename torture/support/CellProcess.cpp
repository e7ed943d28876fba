#include "CellProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcessEnvironment>

namespace {

constexpr int LimitMs = 90000; // longer than all that a cell itself waits for
constexpr int MostWords = 4000;

} // namespace

CellProcess::CellProcess(const QStringList &arguments, const QString &folder)
    : m_folder(folder)
{
    QDir().mkpath(folder);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), folder);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &CellProcess::end);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end();
    });
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, [this] {
        m_isHung = true;
        m_process.kill();
    });
    m_limit.start(LimitMs);
    m_clock.start();
    m_process.start(QCoreApplication::applicationFilePath(), arguments, QIODevice::ReadOnly);
}

void CellProcess::end()
{
    m_limit.stop();
    m_elapsedMs = m_clock.elapsed();
    QDir(m_folder).removeRecursively();
    Q_EMIT ended();
}

CellProcess::Outcome CellProcess::outcome() const
{
    if (m_isHung)
        return Outcome::Hung;
    if (m_process.error() == QProcess::FailedToStart
        || m_process.exitStatus() == QProcess::CrashExit)
        return Outcome::Crashed;
    if (m_process.exitCode() == 0)
        return Outcome::Held;
    // A sanitizer ends a process with a code of its own.
    return m_process.exitCode() == WrongExitCode ? Outcome::Wrong : Outcome::Crashed;
}

QString CellProcess::words()
{
    return QString::fromLocal8Bit(m_process.readAll()).right(MostWords);
}

qint64 CellProcess::elapsedMs() const
{
    return m_elapsedMs;
}
