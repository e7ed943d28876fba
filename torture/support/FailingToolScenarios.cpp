#include "FailingScenario.h"
#include "FailingStage.h"
#include "KsProxyTools.h"

#include <QFileInfo>

#include <unistd.h>

namespace {

Verdict startProcess()
{
    return KsProxyTools::startProcess(QStringLiteral("/bin/true")) ? Verdict::done()
                                                                   : Verdict::reported();
}

Verdict startWhatIsAbsent()
{
    return Verdict::require(!KsProxyTools::startProcess(QStringLiteral("/nonexistent/program")),
                            "started a program that there is not");
}

// Its own process, whose name fills what the kernel keeps.
Verdict findProcess()
{
    unsigned long long pid = 0;
    const QString name = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    const bool isFound = KsProxyTools::checkProcessRunning(QFileInfo(name).fileName(), pid);
    if (isFound && pid == 0)
        return Verdict::wrong(QStringLiteral("found a process without a number"));
    return isFound ? Verdict::done() : Verdict::reported();
}

Verdict lookForAbsentProcess()
{
    unsigned long long pid = 77;
    return Verdict::require(
        !KsProxyTools::checkProcessRunning(QStringLiteral("no-such-process"), pid) && pid == 77,
        "found a process that there is not");
}

Verdict findServerPath()
{
    const QString path = KsProxyTools::getDefaultServerPath();
    if (path.isEmpty())
        return Verdict::reported();
    return Verdict::require(QFileInfo(path).isAbsolute(), "depends on the working folder");
}

// Whether some server runs on this machine is another's affair: it may only not be contradicted.
Verdict startServerThatIsAbsent()
{
    const StageProxy proxy;
    const bool isStarted = proxy->startServer(QStringLiteral("/nonexistent/server"));
    return Verdict::require(isStarted == proxy->isConnectedServer(), "says two things");
}

Verdict executeServer()
{
    const StageProxy proxy;
    return proxy->execStartKVTServer(QStringLiteral("/bin/true")) ? Verdict::done()
                                                                  : Verdict::reported();
}

} // namespace

std::vector<FailingScenario> toolScenarios()
{
    return {{"start_process", startProcess},
            {"start_what_is_absent", startWhatIsAbsent},
            {"find_process", findProcess},
            {"look_for_absent_process", lookForAbsentProcess},
            {"find_server_path", findServerPath},
            {"start_server_that_is_absent", startServerThatIsAbsent},
            {"execute_server", executeServer}};
}
