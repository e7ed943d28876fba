#include "CtlHelp.h"
#include "TestMain.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

/// Whether the manual page says what the help says.
class tst_CtlManual : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void findsTheVerbsInTheHelp();
    void describesEachVerb();
    void describesEachOption();
    void namesTheSameDefaults();
    void describesTheProgramsOwnOptions();
    void describesEachExitCode();
    void isWellFormed();

private:
    QString part(const QString &name) const;
    static QSet<QString> optionsIn(const QString &text);
    QSet<QString> optionsOf(const QString &verb) const;

    const CtlHelp m_help;
    QString m_page;
    QMap<QString, QString> m_parts; ///< what stands below each .Ss, by its words
};

void tst_CtlManual::initTestCase()
{
    QFile file(QStringLiteral(KSPROXY_CTL_SOURCE "/ksproxyctl.1"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_page = QString::fromUtf8(file.readAll());
    static const QRegularExpression heading(QStringLiteral("^\\.S[sh] "),
                                            QRegularExpression::MultilineOption);
    const QStringList parts = m_page.split(heading).mid(1);
    for (const QString &part : parts)
        m_parts.insert(part.section(QLatin1Char('\n'), 0, 0), part);
}

// The part of a verb, whose heading may go on with its arguments.
QString tst_CtlManual::part(const QString &name) const
{
    const QStringList headings = m_parts.keys();
    for (const QString &heading : headings) {
        if (heading == name || heading.startsWith(name + QLatin1String(" Ar "))
            || heading.startsWith(name + QLatin1String(" Op "))
            || heading.startsWith(name + QLatin1String(" Cm ")))
            return m_parts.value(heading);
    }
    return QString();
}

QSet<QString> tst_CtlManual::optionsIn(const QString &text)
{
    static const QRegularExpression option(QStringLiteral("^\\.It (?:Fl h , )?Fl (-[a-z-]+)"),
                                           QRegularExpression::MultilineOption);
    QSet<QString> options;
    QRegularExpressionMatchIterator matches = option.globalMatch(text);
    while (matches.hasNext())
        options.insert(QLatin1Char('-') + matches.next().captured(1));
    return options;
}

QSet<QString> tst_CtlManual::optionsOf(const QString &verb) const
{
    const QString text = part(verb);
    QSet<QString> options = optionsIn(text) | optionsIn(part(QStringLiteral("Every verb")));
    if (text.contains(QLatin1String("Takes the options of a place")))
        options.unite(optionsIn(part(QStringLiteral("A place"))));
    return options;
}

void tst_CtlManual::findsTheVerbsInTheHelp()
{
    QCOMPARE(m_help.options().size(), 14);
    QVERIFY(m_help.options().value(QStringLiteral("load")).contains(QStringLiteral("--resume")));
    QVERIFY(m_help.options().contains(QStringLiteral("server start")));
    QCOMPARE(m_help.exitCodes().size(), 11);
    QCOMPARE(m_help.defaults(QStringLiteral("dump")).value(QStringLiteral("--window")),
             QStringLiteral("8"));
}

void tst_CtlManual::describesEachVerb()
{
    static const QRegularExpression heading(QStringLiteral("^\\.Ss ([a-z-]+(?: [a-z]+)?)"),
                                            QRegularExpression::MultilineOption);
    QStringList described;
    QRegularExpressionMatchIterator matches = heading.globalMatch(m_page);
    while (matches.hasNext())
        described.append(matches.next().captured(1));
    described.sort();
    QCOMPARE(described, m_help.options().keys());
}

void tst_CtlManual::describesEachOption()
{
    const QMap<QString, QSet<QString>> options = m_help.options();
    for (auto verb = options.cbegin(); verb != options.cend(); ++verb) {
        const QSet<QString> described = optionsOf(verb.key());
        const QStringList missing = (verb.value() - described).values();
        const QStringList tooMany = (described - verb.value()).values();
        QVERIFY2(missing.isEmpty() && tooMany.isEmpty(),
                 qPrintable(QStringLiteral("%1: missing %2, too many %3")
                                .arg(verb.key(), missing.join(QLatin1Char(' ')),
                                     tooMany.join(QLatin1Char(' ')))));
    }
}

void tst_CtlManual::namesTheSameDefaults()
{
    const QStringList verbs = m_help.options().keys();
    int compared = 0;
    for (const QString &verb : verbs) {
        const QString text
            = part(verb) + part(QStringLiteral("Every verb")) + part(QStringLiteral("A place"));
        const QMap<QString, QString> defaults = m_help.defaults(verb);
        for (auto option = defaults.cbegin(); option != defaults.cend(); ++option) {
            const QString entry
                = text.section(QStringLiteral(".It Fl ") + option.key().mid(1) + QLatin1Char(' '),
                               1, 1)
                      .section(QStringLiteral("\n.It"), 0, 0);
            const QString sentence = QStringLiteral("The default is %1").arg(option.value());
            QVERIFY2(
                entry.contains(sentence + QLatin1Char('.'))
                    || entry.contains(sentence + QLatin1Char(' ')),
                qPrintable(verb + QLatin1Char(' ') + option.key() + QLatin1Char(' ') + sentence));
            ++compared;
        }
    }
    QVERIFY(compared > verbs.size());
}

void tst_CtlManual::describesTheProgramsOwnOptions()
{
    const QString synopsis = part(QStringLiteral("SYNOPSIS"));
    const QStringList own = m_help.ownOptions().values();
    QCOMPARE(own.size(), 2);
    for (const QString &option : own)
        QVERIFY2(synopsis.contains(QStringLiteral("Fl ") + option.mid(1)), qPrintable(option));
}

void tst_CtlManual::describesEachExitCode()
{
    static const QRegularExpression entry(QStringLiteral("^\\.It (\\d+)\\n(.*)$"),
                                          QRegularExpression::MultilineOption);
    QMap<int, QString> described;
    QRegularExpressionMatchIterator matches
        = entry.globalMatch(part(QStringLiteral("EXIT STATUS")));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        described.insert(match.captured(1).toInt(), match.captured(2));
    }
    QCOMPARE(described, m_help.exitCodes());
}

void tst_CtlManual::isWellFormed()
{
    const QString checker = QStandardPaths::findExecutable(QStringLiteral("mandoc"));
    if (checker.isEmpty())
        return QTest::qSkip("mandoc is not installed", __FILE__, __LINE__);
    QProcess process;
    process.start(checker,
                  {QStringLiteral("-T"), QStringLiteral("lint"), QStringLiteral("-W"),
                   QStringLiteral("warning"), QStringLiteral(KSPROXY_CTL_SOURCE "/ksproxyctl.1")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
    QCOMPARE(process.exitCode(), 0);
}

KSPROXY_TEST_MAIN(tst_CtlManual)
#include "tst_CtlManual.moc"
