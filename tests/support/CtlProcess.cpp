#include "CtlProcess.h"

#include "Waiting.h"

#include <QJsonDocument>

#include <signal.h>

CtlProcess::CtlProcess()
{
    m_process.setProgram(QStringLiteral(KSPROXY_CTL_PROGRAM));
}

CtlProcess::~CtlProcess()
{
    kill();
}

void CtlProcess::launch(const QStringList &arguments)
{
    kill(); // what a test that failed may have left
    m_output.clear();
    m_errors.clear();
    m_process.setArguments(arguments);
    m_process.start();
    m_process.waitForStarted(WaitLimitMs);
}

void CtlProcess::start(const QStringList &arguments)
{
    QStringList all = arguments;
    all.insert(1, QStringLiteral("--no-start"));
    launch(all);
}

bool CtlProcess::run(const QStringList &arguments, const QByteArray &input)
{
    start(arguments);
    m_process.write(input);
    m_process.closeWriteChannel();
    return waitForEnd();
}

bool CtlProcess::waitForEnd()
{
    return !isRunning() || m_process.waitForFinished(WaitLimitMs);
}

void CtlProcess::setOutputFile(const QString &fileName)
{
    m_process.setStandardOutputFile(fileName);
}

void CtlProcess::setErrorFile(const QString &fileName)
{
    m_process.setStandardErrorFile(fileName);
}

bool CtlProcess::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

bool CtlProcess::hasCrashed() const
{
    return m_process.exitStatus() == QProcess::CrashExit;
}

int CtlProcess::exitCode() const
{
    return m_process.exitCode();
}

QByteArray CtlProcess::output()
{
    m_output += m_process.readAllStandardOutput();
    return m_output;
}

QString CtlProcess::errors()
{
    m_errors += m_process.readAllStandardError();
    return QString::fromLocal8Bit(m_errors);
}

QJsonObject CtlProcess::json()
{
    return QJsonDocument::fromJson(output()).object();
}

void CtlProcess::sendSignal(int number)
{
    ::kill(static_cast<pid_t>(m_process.processId()), number);
}

void CtlProcess::kill()
{
    if (!isRunning())
        return;
    m_process.kill();
    m_process.waitForFinished(WaitLimitMs);
}
