#ifndef FUZZCHECK_H
#define FUZZCHECK_H

#include <cstdio>
#include <cstdlib>

/// Ends the program, with \a what on standard error, when something does not hold: a finding.
inline void fuzzCheck(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

#endif
