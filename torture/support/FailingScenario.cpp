#include "FailingScenario.h"

Verdict Verdict::done()
{
    return {Done, QString()};
}

Verdict Verdict::reported()
{
    return {Reported, QString()};
}

Verdict Verdict::wrong(const QString &why)
{
    return {Wrong, why};
}

Verdict Verdict::require(bool holds, const char *why)
{
    return holds ? done() : wrong(QLatin1String(why));
}
