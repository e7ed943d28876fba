#include "ServerLookup.h"

#include "KsProxyTools.h"

std::optional<qint64> serverProcessId()
{
    unsigned long long pid = 0;
    if (!KsProxyTools::checkProcessRunning(QStringLiteral("KVTServerMaster"), pid))
        return std::nullopt;
    return static_cast<qint64>(pid);
}
