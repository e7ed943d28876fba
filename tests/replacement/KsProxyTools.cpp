// Another build of libksproxyclient: it knows another place for the server, and looks for none that
// runs.
#include "KsProxyTools.h"

#include <QProcess>

bool KsProxyTools::startProcess(const QString &path)
{
    QProcess process;
    process.setProgram(path);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return process.startDetached();
}

bool KsProxyTools::checkProcessRunning(const QString &name, unsigned long long &pid)
{
    Q_UNUSED(name)
    Q_UNUSED(pid)
    return false;
}

QString KsProxyTools::getDefaultServerPath()
{
    return qEnvironmentVariable("REPLACEMENT_SERVER");
}
