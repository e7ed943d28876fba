#ifndef FAILINGSCENARIO_H
#define FAILINGSCENARIO_H

#include <QString>

#include <vector>

/// How a scenario ended while one call in it failed.
struct Verdict
{
    enum Kind {
        Done, ///< everything has been done as if nothing had failed
        Reported, ///< something was not done, and the library said so in its way
        Wrong, ///< something was neither done nor reported
    };

    static Verdict done();
    static Verdict reported();
    static Verdict wrong(const QString &why);
    /// Done or, when that does not hold, wrong.
    static Verdict require(bool holds, const char *why);

    Kind kind;
    QString why;
};

/// A small complete piece of use of the public interface. It leaves nothing behind.
struct FailingScenario
{
    const char *name;
    Verdict (*run)();
};

std::vector<FailingScenario> proxyScenarios();
std::vector<FailingScenario> toolScenarios();
std::vector<FailingScenario> sessionScenarios();

#endif
