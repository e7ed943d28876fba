#include "ServerProcess.h"

#include "TestMain.h"
#include "Waiting.h"

#include <QDeadlineTimer>
#include <QFile>

#include <signal.h>

ServerProcess::~ServerProcess()
{
    if (!isRunning())
        return;
    m_process.kill();
    m_process.waitForFinished(WaitLimitMs);
}

bool ServerProcess::start(const QStringList &arguments)
{
    launch(arguments);
    const QDeadlineTimer deadline(WaitLimitMs);
    while (!output().contains(QLatin1String("listening ")) && !deadline.hasExpired()) {
        if (!m_process.waitForReadyRead(WaitLimitMs) && !isRunning())
            return false;
    }
    return isRunning();
}

void ServerProcess::launch(const QStringList &arguments)
{
    m_output.clear();
    m_errors.clear();
    // Not before: a member of a test is made before the test's folder is.
    const QString link = testFolder() + QLatin1String("/simserver");
    QFile::link(QStringLiteral(KSPROXY_SERVER_PROGRAM), link); // may stand there already
    m_process.setProgram(link);
    m_process.setArguments(arguments);
    m_process.start(QIODevice::ReadOnly);
    m_process.waitForStarted(WaitLimitMs);
}

bool ServerProcess::waitForEnd()
{
    return !isRunning() || m_process.waitForFinished(WaitLimitMs);
}

bool ServerProcess::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

qint64 ServerProcess::pid() const
{
    return m_process.processId();
}

int ServerProcess::exitCode() const
{
    return m_process.exitCode();
}

bool ServerProcess::hasCrashed() const
{
    return m_process.exitStatus() == QProcess::CrashExit;
}

QString ServerProcess::output()
{
    m_output += m_process.readAllStandardOutput();
    return QString::fromLocal8Bit(m_output);
}

QString ServerProcess::errors()
{
    m_errors += m_process.readAllStandardError();
    return QString::fromLocal8Bit(m_errors);
}

void ServerProcess::sendErrorsTo(const QString &fileName)
{
    m_process.setStandardErrorFile(fileName);
}

void ServerProcess::terminate()
{
    m_process.terminate();
}

void ServerProcess::kill()
{
    m_process.kill();
}

void ServerProcess::sendSignal(int number)
{
    ::kill(static_cast<pid_t>(pid()), number);
}
