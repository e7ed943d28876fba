#include "PeerProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/prctl.h>

#include <csignal>

namespace {

constexpr int WaitLimitMs = 20000;

} // namespace

void PeerProcess::Process::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

PeerProcess::~PeerProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(WaitLimitMs);
}

bool PeerProcess::start(const QString &program, const QStringList &arguments)
{
    const QDir folder(QDir::tempPath() + QLatin1Char('/') + QFileInfo(program).fileName()
                      + QLatin1String(".d"));
    const QString link = folder.filePath(QStringLiteral("benchpeer"));
    folder.mkpath(QStringLiteral("."));
    QFile::link(program, link); // may stand there already
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(link, arguments, QIODevice::ReadOnly);
    QByteArray output;
    while (!output.startsWith("listening") || !output.contains('\n')) {
        if (!m_process.waitForReadyRead(WaitLimitMs))
            return false;
        output += m_process.readAllStandardOutput();
    }
    return true;
}
