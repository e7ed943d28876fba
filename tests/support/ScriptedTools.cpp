#include "ScriptedTools.h"

#include "KsProxyTools.h"

ScriptedTools scriptedTools;

// In place of the client library's own, for the whole program.

bool KsProxyTools::startProcess(const QString &path)
{
    scriptedTools.startedPaths.append(path);
    return scriptedTools.startSucceeds;
}

bool KsProxyTools::checkProcessRunning(const QString &name, unsigned long long &pid)
{
    scriptedTools.checkedNames.append(name);
    if (scriptedTools.checks() < scriptedTools.runningFromCheck)
        return false;
    pid = 4711;
    return true;
}

QString KsProxyTools::getDefaultServerPath()
{
    ++scriptedTools.defaultPathCalls;
    return scriptedTools.defaultPath;
}
