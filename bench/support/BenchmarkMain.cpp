#include "BenchmarkMain.h"

#include <QLoggingCategory>

#include <benchmark/benchmark.h>

int runBenchmarks(int argc, char **argv, void (*registerAll)())
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
