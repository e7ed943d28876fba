#ifndef CTLHELP_H
#define CTLHELP_H

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

/// What ksproxyctl's help says, taken apart: what other descriptions of it are compared with.
class CtlHelp
{
public:
    /// Asks the program.
    CtlHelp();

    /// By verb, such as "server start", the long options of its help with their dashes.
    QMap<QString, QSet<QString>> options() const;
    /// Those of the program itself.
    QSet<QString> ownOptions() const;
    /// All of them.
    QSet<QString> allOptions() const;
    /// The words that stand for verbs, "server" and "start" each for itself.
    QSet<QString> verbWords() const;

    /// By exit code, what it means.
    QMap<int, QString> exitCodes() const;

    /// By option, the default that the help of \a verb names in digits.
    QMap<QString, QString> defaults(const QString &verb) const;

private:
    void addVerbs(const QString &parent);

    QMap<QString, QString> m_texts; ///< by verb; the program's own under the empty name
    QMap<QString, QSet<QString>> m_options;
};

#endif
