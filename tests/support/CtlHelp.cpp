#include "CtlHelp.h"

#include "CtlProcess.h"

#include <QRegularExpression>

namespace {

QString helpOf(const QString &verb)
{
    CtlProcess ctl;
    ctl.launch(verb.split(QLatin1Char(' '), Qt::SkipEmptyParts)
               + QStringList{QStringLiteral("--help")});
    return ctl.waitForEnd() ? QString::fromLocal8Bit(ctl.output()) : QString();
}

// The lines below a heading, up to an empty one.
QStringList section(const QString &text, const QString &heading)
{
    const QString start = QLatin1Char('\n') + heading + QLatin1String(":\n");
    const int from = text.indexOf(start);
    return from < 0 ? QStringList()
                    : text.mid(from + start.size())
                          .section(QStringLiteral("\n\n"), 0, 0)
                          .split(QLatin1Char('\n'));
}

QSet<QString> optionsIn(const QString &text)
{
    static const QRegularExpression option(QStringLiteral("^  (?:-\\w,)?(--[a-z-]+)"));
    QSet<QString> options;
    const QStringList lines = section(text, QStringLiteral("Options"));
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = option.match(line);
        if (match.hasMatch())
            options.insert(match.captured(1));
    }
    return options;
}

} // namespace

CtlHelp::CtlHelp()
{
    m_texts.insert(QString(), helpOf(QString()));
    addVerbs(QString());
}

void CtlHelp::addVerbs(const QString &parent)
{
    const QStringList lines = section(m_texts.value(parent), QStringLiteral("Verbs"));
    for (const QString &line : lines) {
        const QString word = line.trimmed().section(QLatin1Char(' '), 0, 0);
        const QString verb = (parent + QLatin1Char(' ') + word).trimmed();
        const QString text = helpOf(verb);
        m_texts.insert(verb, text);
        if (text.contains(QLatin1String("\nVerbs:\n")))
            addVerbs(verb);
        else
            m_options.insert(verb, optionsIn(text));
    }
}

QMap<QString, QSet<QString>> CtlHelp::options() const
{
    return m_options;
}

QSet<QString> CtlHelp::ownOptions() const
{
    return optionsIn(m_texts.value(QString()));
}

QSet<QString> CtlHelp::allOptions() const
{
    QSet<QString> all = ownOptions();
    for (const QSet<QString> &options : m_options)
        all.unite(options);
    return all;
}

QSet<QString> CtlHelp::verbWords() const
{
    QSet<QString> words;
    const QStringList verbs = m_options.keys();
    for (const QString &verb : verbs) {
        const QStringList parts = verb.split(QLatin1Char(' '));
        words.unite(QSet<QString>(parts.cbegin(), parts.cend()));
    }
    return words;
}

QMap<int, QString> CtlHelp::exitCodes() const
{
    QMap<int, QString> codes;
    const QStringList lines = section(m_texts.value(QString()), QStringLiteral("Exit codes"));
    for (const QString &line : lines) {
        const QString entry = line.trimmed();
        codes.insert(entry.section(QLatin1String("  "), 0, 0).toInt(),
                     entry.section(QLatin1String("  "), 1));
    }
    return codes;
}

QMap<QString, QString> CtlHelp::defaults(const QString &verb) const
{
    static const QRegularExpression entry(
        QStringLiteral("\\n  (--[a-z-]+) [^\\n]*(?:\\n {10,}[^\\n]*)*?Default (\\d+)"));
    QMap<QString, QString> defaults;
    QRegularExpressionMatchIterator matches = entry.globalMatch(m_texts.value(verb));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        defaults.insert(match.captured(1), match.captured(2));
    }
    return defaults;
}
