#include "NamedServer.h"

#include "KsProxyTools.h"
#include "Waiting.h"

#include <QTest>

#include <csignal>

namespace {

pid_t serverPid()
{
    unsigned long long pid = 0;
    return KsProxyTools::checkProcessRunning(QStringLiteral("KVTServerMaster"), pid)
        ? static_cast<pid_t>(pid)
        : 0;
}

} // namespace

bool NamedServer::isRunning()
{
    return serverPid() != 0;
}

void NamedServer::sendSignal(int signal)
{
    if (const pid_t pid = serverPid())
        ::kill(pid, signal);
}

bool NamedServer::stop()
{
    sendSignal(SIGTERM);
    return QTest::qWaitFor([] { return !isRunning(); }, WaitLimitMs);
}
