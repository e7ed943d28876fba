#include "Document.h"
#include "RawClient.h"
#include "ServerProcess.h"
#include "SteeredServer.h"
#include "TestMain.h"
#include "Waiting.h"

#include "FaultKinds.h"

#include <QDir>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

namespace {

QString document()
{
    return Document::text(QStringLiteral("docs/simulator.md"));
}

QStringList blocks(const QString &language)
{
    return Document::blocks(QStringLiteral("docs/simulator.md"), language);
}

bool isDialogue(const QString &block)
{
    return block.startsWith(QLatin1String("{\"do\""));
}

QJsonObject parsed(const QString &json)
{
    return QJsonDocument::fromJson(json.toUtf8()).object();
}

// As the help names them.
QStringList options()
{
    ServerProcess helper;
    helper.launch({QStringLiteral("--help")});
    QStringList options;
    if (!helper.waitForEnd())
        return options;
    const QRegularExpression option(QStringLiteral("^  (?:-\\w, )?(--[a-z-]+)"),
                                    QRegularExpression::MultilineOption);
    QRegularExpressionMatchIterator matches = option.globalMatch(helper.output());
    while (matches.hasNext())
        options.append(matches.next().captured(1));
    return options;
}

QStringList shellLines()
{
    return blocks(QStringLiteral("sh"))
        .join(QString())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

/// Runs every example of docs/simulator.md.
class tst_SimulatorDocument : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersAsTheDialoguesSay_data();
    void answersAsTheDialoguesSay();
    void playsTheScenarios_data();
    void playsTheScenarios();
    void startsAsTheCommandLinesSay_data();
    void startsAsTheCommandLinesSay();
    void answersTheLineFromTheShell();
    void tellsOfEveryOption();
    void hasEachOptionInTheManual();
    void tellsOfEveryFaultAndItsParameters();
    void tellsOfEveryCommand();
};

void tst_SimulatorDocument::answersAsTheDialoguesSay_data()
{
    QTest::addColumn<QString>("dialogue");
    const QStringList all = blocks(QStringLiteral("json"));
    for (const QString &block : all) {
        if (isDialogue(block))
            QTest::newRow(block.left(block.indexOf(QLatin1Char('\n'))).toUtf8()) << block;
    }
}

void tst_SimulatorDocument::answersAsTheDialoguesSay()
{
    QFETCH(QString, dialogue);
    // Without heartbeats, which would be counted.
    const QString quiet
        = SteeredServer::written(QStringLiteral("quiet.json"), R"({"heartbeat":0})");
    SteeredServer server;
    QVERIFY(server.start({QStringLiteral("--scenario"), quiet}));
    RawClient client;
    QVERIFY(client.registerAtServer());
    const QStringList lines = dialogue.trimmed().split(QLatin1Char('\n'));
    QCOMPARE(lines.size() % 2, 0);
    for (int i = 0; i < lines.size(); i += 2) {
        QVERIFY2(parsed(lines.at(i)).contains(QLatin1String("do")), qPrintable(lines.at(i)));
        const QJsonObject answer = server.control.call(parsed(lines.at(i)));
        QCOMPARE(answer, parsed(lines.at(i + 1)));
    }
}

void tst_SimulatorDocument::playsTheScenarios_data()
{
    QTest::addColumn<QString>("scenario");
    const QStringList all = blocks(QStringLiteral("json"));
    for (const QString &block : all) {
        if (!isDialogue(block))
            QTest::newRow(block.left(40).simplified().toUtf8()) << block;
    }
}

void tst_SimulatorDocument::playsTheScenarios()
{
    QFETCH(QString, scenario);
    const QString file = SteeredServer::written(QStringLiteral("example.json"), scenario.toUtf8());
    SteeredServer server;
    QVERIFY2(server.start({QStringLiteral("--scenario"), file}),
             qPrintable(server.process.errors()));
    RawClient client;
    QVERIFY(client.registerAtServer());
}

void tst_SimulatorDocument::startsAsTheCommandLinesSay_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QStringList lines = shellLines();
    for (const QString &line : lines) {
        const QStringList words = line.split(QLatin1Char(' '));
        if (words.constFirst() == QLatin1String("KVTServerMaster"))
            QTest::newRow(line.toUtf8()) << QStringList(words.mid(1));
    }
}

void tst_SimulatorDocument::startsAsTheCommandLinesSay()
{
    QFETCH(QStringList, arguments);
    QVERIFY(QDir::setCurrent(QStringLiteral(KSPROXY_SOURCE_FOLDER)));
    ServerProcess server;
    QVERIFY2(server.start(arguments), qPrintable(server.errors()));
    const int count = arguments.contains(QLatin1String("--control")) ? 2 : 1;
    QTRY_COMPARE_WITH_TIMEOUT(server.output().count(QLatin1Char('\n')), count, WaitLimitMs);
    // The document shows the same lines, with the usual temporary folder.
    QString lines = server.output();
    lines.replace(testFolder(), QStringLiteral("/tmp"));
    QVERIFY2(document().contains(QLatin1String("```\n") + lines), qPrintable(lines));
}

void tst_SimulatorDocument::answersTheLineFromTheShell()
{
    const QRegularExpression echo(QStringLiteral("^echo '(.*)' \\| .* UNIX-CONNECT:/tmp/(\\S+)$"),
                                  QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = echo.match(shellLines().join(QLatin1Char('\n')));
    QVERIFY(match.hasMatch());
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--control"), match.captured(2)}));
    ControlClient control;
    QVERIFY(control.connectToServer(match.captured(2)));
    control.sendBytes(match.captured(1).toUtf8() + '\n');
    QCOMPARE(control.nextAnswer().value(QLatin1String("ok")), QJsonValue(true));
}

void tst_SimulatorDocument::tellsOfEveryOption()
{
    const QStringList all = options();
    QCOMPARE(all.size(), 9);
    for (const QString &name : all)
        QVERIFY2(document().contains(QLatin1Char('`') + name), qPrintable(name));
}

void tst_SimulatorDocument::hasEachOptionInTheManual()
{
    const QString manual = Document::text(QStringLiteral("server/KVTServerMaster.1"));
    const QStringList all = options();
    for (const QString &name : all) {
        const QRegularExpression item(
            QStringLiteral("^\\.It (?:Fl \\w , )?Fl %1\\b").arg(name.mid(1)),
            QRegularExpression::MultilineOption);
        QVERIFY2(item.match(manual).hasMatch(), qPrintable(name));
    }
    QCOMPARE(manual.count(QLatin1String("\n.It Fl ")), all.size());
}

void tst_SimulatorDocument::tellsOfEveryFaultAndItsParameters()
{
    const QStringList lines
        = document().section(QStringLiteral("\n## "), 3, 3).split(QLatin1Char('\n'));
    QCOMPARE(lines.constFirst(), QStringLiteral("Faults"));
    for (const FaultKinds::Entry &entry : FaultKinds::all()) {
        const QStringList rows = lines.filter(QStringLiteral("| `%1` |").arg(entry.name));
        QCOMPARE(rows.size(), 1);
        for (const FaultKinds::Parameter &parameter : entry.parameters) {
            const QString initial = parameter.choices.isEmpty() ? QString::number(parameter.initial)
                                                                : QLatin1Char('`')
                    + parameter.choices.at(static_cast<int>(parameter.initial)) + QLatin1Char('`');
            const QString told = QStringLiteral("`%1`").arg(QLatin1String(parameter.name))
                + (parameter.initial < parameter.smallest ? QString()
                                                          : QStringLiteral(" (%1)").arg(initial));
            QVERIFY2(rows.constFirst().contains(told), qPrintable(entry.name + told));
        }
    }
}

void tst_SimulatorDocument::tellsOfEveryCommand()
{
    SteeredServer server;
    QVERIFY(server.start());
    // The answer names them all.
    const QString error
        = server.control.call(R"({"do":"?"})").value(QLatin1String("error")).toString();
    const QRegularExpression quoted(QStringLiteral("\"(\\w+)\""));
    QRegularExpressionMatchIterator matches = quoted.globalMatch(error);
    int count = 0;
    for (; matches.hasNext(); ++count) {
        const QString command = matches.next().captured(1);
        QVERIFY2(document().contains(QStringLiteral("\n{\"do\": \"%1\"").arg(command)),
                 qPrintable(command));
    }
    QVERIFY(count > 15);
}

KSPROXY_TEST_MAIN(tst_SimulatorDocument)
#include "tst_SimulatorDocument.moc"
