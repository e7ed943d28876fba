#ifndef BENCH_H
#define BENCH_H

#include <QCoreApplication>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

/// One measured thing: what is measured, in which case, the unit of its samples, and how to take
/// one.
struct Contestant
{
    QString what;
    QString caseName;
    QString unit;
    std::function<double()> sample;
};

/// A benchmark program that measures by itself: its options, its rounds, and the JSON it ends with.
/// Used on the main thread only.
///
/// `--quick` takes three short rounds instead of nine, for trying a program out.
class Bench
{
public:
    /// Reads the arguments, makes a temporary folder of this process's own, names it in `TMPDIR`,
    /// so that local sockets are nobody else's, and makes the application object. A bad argument
    /// ends the program with exit code 2.
    Bench(const char *program, int argc, char **argv);
    ~Bench();

    bool isQuick() const;
    int rounds() const;
    /// The temporary folder.
    QString folder() const;

    /// Takes `rounds` samples of each contestant. Those of one case take turns, one right after the
    /// other, in an order that differs from round to round.
    void compete(const std::vector<Contestant> &contestants);

    void add(const QString &what, const QString &caseName, const QString &unit, double sample);

    /// Something that was measured is wrong or incomplete: \a what goes to standard error and the
    /// program fails. Returns \a holds.
    bool require(bool holds, const QString &what);

    /// Prints the samples as JSON on standard output; returns the exit code, 0 or 1.
    int finish() const;

private:
    void takeTurns(const std::vector<Contestant> &contestants);

    Q_DISABLE_COPY_MOVE(Bench)

    struct Private;
    const std::unique_ptr<Private> m_private;
};

#endif
