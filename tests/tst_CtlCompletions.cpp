#include "CtlHelp.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace {

QString completionFile(const char *name)
{
    return QStringLiteral(KSPROXY_CTL_SOURCE "/completions/") + QLatin1String(name);
}

QString content(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QSet<QString> found(const QString &text, const QString &pattern)
{
    const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
    QSet<QString> words;
    QRegularExpressionMatchIterator matches = expression.globalMatch(text);
    while (matches.hasNext())
        words.insert(matches.next().captured(1));
    return words;
}

QSet<QString> dashed(const QSet<QString> &names)
{
    QSet<QString> options;
    for (const QString &name : names)
        options.insert(QLatin1String("--") + name);
    return options;
}

// What a shell prints, line by line.
QStringList output(const QString &shell, const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       QFileInfo(QStringLiteral(KSPROXY_CTL_PROGRAM)).path() + QLatin1Char(':')
                           + environment.value(QStringLiteral("PATH")));
    environment.insert(QStringLiteral("HOME"), testFolder());
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(testFolder());
    process.start(shell, arguments);
    if (!process.waitForFinished(WaitLimitMs) || process.exitCode() != 0)
        return {QStringLiteral("failed: ")
                + QString::fromLocal8Bit(process.readAllStandardError())};
    return QString::fromLocal8Bit(process.readAllStandardOutput())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// What bash offers for a line that ends here.
QStringList offered(const QString &line)
{
    const QString script = QStringLiteral("source \"$1\"; COMP_LINE=$2; COMP_POINT=${#2}; "
                                          "_ksproxyctl; printf '%s\\n' \"${COMPREPLY[@]}\"");
    QStringList words = output(QStringLiteral("bash"),
                               {QStringLiteral("--norc"), QStringLiteral("-c"), script,
                                QStringLiteral("bash"), completionFile("ksproxyctl.bash"), line});
    words.sort();
    return words;
}

QStringList fishOffers(const QString &line)
{
    return output(QStringLiteral("fish"),
                  {QStringLiteral("--no-config"), QStringLiteral("-c"),
                   QStringLiteral("source %1; complete -C '%2'")
                       .arg(completionFile("ksproxyctl.fish"), line)});
}

QStringList sorted(const QSet<QString> &words)
{
    QStringList list = words.values();
    list.sort();
    return list;
}

} // namespace

/// The completions for the shells: whether they work, and offer what the help says.
class tst_CtlCompletions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bashOffersTheVerbs();
    void bashOffersTheOptionsOfEachVerb();
    void bashOffersWords_data();
    void bashOffersWords();
    void bashOffersFiles();
    void bashOffersLiveKeys_data();
    void bashOffersLiveKeys();
    void bashOffersNoKeysWithoutAServer();
    void zshOffersLiveKeys();
    void fishOffersLiveKeys();
    void areWellFormed_data();
    void areWellFormed();
    void startNoServer_data();
    void startNoServer();
    void nameTheSameOptions_data();
    void nameTheSameOptions();
    void nameTheSameVerbs_data();
    void nameTheSameVerbs();
    void fishOffersTheOptionsOfEachVerb();

private:
    const CtlHelp m_help;
};

void tst_CtlCompletions::bashOffersTheVerbs()
{
    QSet<QString> verbs = m_help.verbWords();
    verbs.remove(QStringLiteral("start"));
    QCOMPARE(verbs.size(), 14);
    QCOMPARE(offered(QStringLiteral("ksproxyctl ")), sorted(verbs));
    QCOMPARE(offered(QStringLiteral("ksproxyctl --")), sorted(m_help.ownOptions()));
}

void tst_CtlCompletions::bashOffersTheOptionsOfEachVerb()
{
    const QMap<QString, QSet<QString>> options = m_help.options();
    for (auto verb = options.cbegin(); verb != options.cend(); ++verb)
        QCOMPARE(offered(QStringLiteral("ksproxyctl %1 --").arg(verb.key())), sorted(verb.value()));
}

void tst_CtlCompletions::bashOffersWords_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("words");
    QTest::newRow("a verb begun") << QStringLiteral("ksproxyctl co")
                                  << QStringList{QStringLiteral("connect")};
    QTest::newRow("a second word")
        << QStringLiteral("ksproxyctl server ") << QStringList{QStringLiteral("start")};
    QTest::newRow("a switch") << QStringLiteral("ksproxyctl auto-connect o")
                              << QStringList{QStringLiteral("off"), QStringLiteral("on")};
    QTest::newRow("a format") << QStringLiteral("ksproxyctl read --format ")
                              << QStringList{QStringLiteral("base64"), QStringLiteral("hex"),
                                             QStringLiteral("json"), QStringLiteral("raw")};
    QTest::newRow("an option behind a value") << QStringLiteral("ksproxyctl read --length 4 --fo")
                                              << QStringList{QStringLiteral("--format")};
    QTest::newRow("a number: nothing")
        << QStringLiteral("ksproxyctl read --length ") << QStringList();
    QTest::newRow("no such verb: nothing") << QStringLiteral("ksproxyctl raed ") << QStringList();
}

void tst_CtlCompletions::bashOffersWords()
{
    QFETCH(QString, line);
    QTEST(offered(line), "words");
}

void tst_CtlCompletions::bashOffersFiles()
{
    QFile file(testFolder() + QLatin1String("/memory.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QStringList memory{QStringLiteral("memory.bin")};
    QCOMPARE(offered(QStringLiteral("ksproxyctl load COM1 mem")), memory);
    QCOMPARE(offered(QStringLiteral("ksproxyctl write COM1 --file mem")), memory);
}

void tst_CtlCompletions::bashOffersLiveKeys_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("keys");
    QTest::newRow("all") << QStringLiteral("ksproxyctl ping ")
                         << QStringList{QStringLiteral("192.168.0.20:5000"),
                                        QStringLiteral("192.168.0.20:5000/1"),
                                        QStringLiteral("COM1"), QStringLiteral("COM1/1"),
                                        QStringLiteral("COM1/2")};
    QTest::newRow("begun") << QStringLiteral("ksproxyctl read --length 4 COM1/")
                           << QStringList{QStringLiteral("COM1/1"), QStringLiteral("COM1/2")};
    QTest::newRow("begun behind a colon")
        << QStringLiteral("ksproxyctl dump 192.168.0.20:5")
        << QStringList{QStringLiteral("5000"), QStringLiteral("5000/1")};
    QTest::newRow("a second name")
        << QStringLiteral("ksproxyctl connect COM1 19")
        << QStringList{QStringLiteral("192.168.0.20:5000"), QStringLiteral("192.168.0.20:5000/1")};
    QTest::newRow("one key is enough") << QStringLiteral("ksproxyctl ping COM1 ") << QStringList();
}

void tst_CtlCompletions::bashOffersLiveKeys()
{
    QFETCH(QString, line);
    ServerProcess server;
    QVERIFY(server.start());
    QTEST(offered(line), "keys");
}

void tst_CtlCompletions::bashOffersNoKeysWithoutAServer()
{
    QCOMPARE(offered(QStringLiteral("ksproxyctl ping ")), QStringList());
}

void tst_CtlCompletions::zshOffersLiveKeys()
{
    ServerProcess server;
    QVERIFY(server.start());
    QCOMPARE(output(QStringLiteral("zsh"),
                    {QStringLiteral("-f"), QStringLiteral(KSPROXY_TEST_SUPPORT "/complete.zsh"),
                     completionFile(""), QStringLiteral("ksproxyctl ping COM1/"),
                     QStringLiteral("COM1/1"), QStringLiteral("COM1/2")}),
             QStringList{QStringLiteral("offered")});
}

void tst_CtlCompletions::fishOffersLiveKeys()
{
    ServerProcess server;
    QVERIFY(server.start());
    QCOMPARE(fishOffers(QStringLiteral("ksproxyctl ping COM1/")),
             QStringList({QStringLiteral("COM1/1"), QStringLiteral("COM1/2")}));
}

void tst_CtlCompletions::areWellFormed_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QString>("file");
    QTest::newRow("bash") << QStringLiteral("bash") << completionFile("ksproxyctl.bash");
    QTest::newRow("zsh") << QStringLiteral("zsh") << completionFile("_ksproxyctl");
    QTest::newRow("fish") << QStringLiteral("fish") << completionFile("ksproxyctl.fish");
}

void tst_CtlCompletions::areWellFormed()
{
    QFETCH(QString, shell);
    QFETCH(QString, file);
    QCOMPARE(output(shell, {QStringLiteral("-n"), file}), QStringList());
}

void tst_CtlCompletions::startNoServer_data()
{
    areWellFormed_data();
}

void tst_CtlCompletions::startNoServer()
{
    QFETCH(QString, file);
    const QString text = content(file);
    QCOMPARE(text.count(QLatin1String("ksproxyctl list")), 1);
    QVERIFY(text.contains(
        QLatin1String("ksproxyctl list --keys --no-start --quiet --timeout 500 2>/dev/null")));
}

void tst_CtlCompletions::nameTheSameOptions_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("zsh") << sorted(found(content(completionFile("_ksproxyctl")),
                                         QStringLiteral("'(?:\\([^)]*\\))?(--[a-z-]+)\\[")));
    QTest::newRow("fish") << sorted(dashed(found(content(completionFile("ksproxyctl.fish")),
                                                 QStringLiteral("^complete .* -l ([a-z-]+) "))));
}

void tst_CtlCompletions::nameTheSameOptions()
{
    QFETCH(QStringList, options);
    QCOMPARE(options, sorted(m_help.allOptions()));
}

void tst_CtlCompletions::nameTheSameVerbs_data()
{
    QTest::addColumn<QStringList>("verbs");
    const QString zsh = content(completionFile("_ksproxyctl"));
    QTest::newRow("zsh: offered") << sorted(found(zsh, QStringLiteral("^        '([a-z-]+):")));
    QTest::newRow("zsh: with options") << sorted(found(zsh, QStringLiteral("^    ([a-z-]+)\\)")));
    QTest::newRow("fish: offered") << sorted(found(content(completionFile("ksproxyctl.fish")),
                                                   QStringLiteral("\\$verbs\" -a ([a-z-]+) ")));
    QTest::newRow("fish: known") << sorted(found(content(completionFile("ksproxyctl.fish"))
                                                     .section(QStringLiteral("set -l verbs"), 1)
                                                     .section(QLatin1Char('\n'), 0, 0),
                                                 QStringLiteral("([a-z-]+)")));
}

void tst_CtlCompletions::nameTheSameVerbs()
{
    QFETCH(QStringList, verbs);
    QSet<QString> expected = m_help.verbWords();
    expected.remove(QStringLiteral("start"));
    QCOMPARE(verbs, sorted(expected));
}

void tst_CtlCompletions::fishOffersTheOptionsOfEachVerb()
{
    const QMap<QString, QSet<QString>> options = m_help.options();
    for (auto verb = options.cbegin(); verb != options.cend(); ++verb) {
        const QStringList lines = fishOffers(QStringLiteral("ksproxyctl %1 --").arg(verb.key()));
        const QSet<QString> names
            = found(lines.join(QLatin1Char('\n')), QStringLiteral("^(--[a-z-]+)"));
        QVERIFY2(names == verb.value(),
                 qPrintable(verb.key() + QLatin1Char(' ') + sorted(names).join(QLatin1Char(' '))));
    }
}

KSPROXY_TEST_MAIN(tst_CtlCompletions)
#include "tst_CtlCompletions.moc"
