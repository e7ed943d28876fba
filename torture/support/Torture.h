#ifndef TORTURE_H
#define TORTURE_H

#include <QString>

#include <memory>

/// One program of the torture chamber: what it is asked to do and the one line of figures that it
/// ends with. Used on the main thread only.
///
/// A program is short unless it is called with `--long`; `--rounds N` and `--seed N` override what
/// it would do by itself, and `--curve FILE` names a file for samples over time.
class Torture
{
public:
    /// Reads the arguments of \a argc and \a argv; a bad one ends the program with exit code 2 and
    /// a message on standard error. Makes a temporary folder of this process's own and names it in
    /// `TMPDIR`, so that its local sockets are nobody else's. Call it before anything of Qt is
    /// made.
    Torture(const char *name, int argc, char **argv);
    ~Torture();

    bool isLong() const;
    /// What `--rounds` says, or the one of the two that fits the form.
    int rounds(int shortRounds, int longRounds) const;
    /// Of `--seed`, or 1: a run can be repeated.
    quint32 seed() const;
    /// The file of `--curve`, empty when there is none.
    QString curveFile() const;
    /// The temporary folder.
    QString folder() const;

    /// Figures appear in the line in the order in which they are added. A name is lower case with
    /// underscores and ends in its unit where it has one, as in "slowest_ms".
    void add(const char *figure, qint64 value);
    void add(const char *figure, double value);
    void add(const char *figure, const QString &value);

    /// Something did not hold: \a what goes to standard error, and the exit code will be 1. Returns
    /// \a holds, for use in conditions.
    bool require(bool holds, const QString &what);

    /// Prints "name figure=value figure=value ..." to standard output, with "failures" and
    /// "seconds" last; returns the exit code, 0 or 1.
    int finish();

private:
    Q_DISABLE_COPY_MOVE(Torture)

    struct Private;
    const std::unique_ptr<Private> m_private;
};

#endif
