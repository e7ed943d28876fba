#include "ServerLog.h"

#include <cstdio>

namespace {

bool isVerbose = false;

} // namespace

void ServerLog::setVerbose(bool verbose)
{
    isVerbose = verbose;
}

void ServerLog::line(const QString &text)
{
    std::fprintf(stderr, "KVTServerMaster: %s\n", text.toLocal8Bit().constData());
}

void ServerLog::detail(const QString &text)
{
    if (isVerbose)
        line(text);
}
