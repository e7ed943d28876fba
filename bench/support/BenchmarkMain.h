#ifndef BENCHMARKMAIN_H
#define BENCHMARKMAIN_H

/// Runs what \a registerAll registers with Google Benchmark; returns the exit code. The library's
/// debug lines are off.
int runBenchmarks(int argc, char **argv, void (*registerAll)());

#endif
