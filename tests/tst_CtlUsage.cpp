#include "CommonOptions.h"
#include "CtlProcess.h"
#include "ExitCode.h"
#include "TestMain.h"

#include <QTest>

Q_DECLARE_METATYPE(ExitCode)

namespace {

void addRow(const char *name, const QStringList &arguments, const QString &message)
{
    QTest::newRow(name) << arguments << message;
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

/// What the program says to command lines, right and wrong, before it does anything.
class tst_CtlUsage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesABadCommandLine_data();
    void refusesABadCommandLine();
    void namesTheVerbsWhenThereIsNone();
    void refusesFilesThatCannotBeRead_data();
    void refusesFilesThatCannotBeRead();
    void printsItsVersion();
    void printsItsHelp();
    void printsTheHelpOfAVerb();
    void waitsForSilenceAsLongAsForAnAnswer();
    void givesEachErrorAnExitCode_data();
    void givesEachErrorAnExitCode();
};

void tst_CtlUsage::refusesABadCommandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    addRow("a wrong verb", words("raed COM1"),
           QStringLiteral("There is no verb \"raed\". Did you mean \"read\"? Try ksproxyctl "
                          "--help."));
    addRow("a wrong verb like no other", words("frobnicate"),
           QStringLiteral("There is no verb \"frobnicate\". Try ksproxyctl --help."));
    addRow("a wrong second word", words("server strat"),
           QStringLiteral("There is no verb \"strat\". Did you mean \"start\"? Try ksproxyctl "
                          "server --help."));
    addRow("no second word", words("server"),
           QStringLiteral("A verb is missing: start. Try ksproxyctl server --help."));
    addRow("a wrong option", words("read COM1 --lenght 4"),
           QStringLiteral("There is no option \"--lenght\" here. Did you mean \"--length\"? Try "
                          "ksproxyctl read --help."));
    addRow("a wrong option with its value", words("read COM1 --lenght=4"),
           QStringLiteral("There is no option \"--lenght=4\" here. Did you mean \"--length\"? Try "
                          "ksproxyctl read --help."));
    addRow("an option of another verb", words("list --verify"),
           QStringLiteral("There is no option \"--verify\" here. Try ksproxyctl list --help."));
    addRow("an option before the verb", words("--json list"),
           QStringLiteral("The option \"--json\" has to stand behind the verb. Try ksproxyctl list "
                          "--help."));
    addRow("an option without its value", words("read COM1 --length"),
           QStringLiteral("--length needs a value. Try ksproxyctl read --help."));
    addRow("a flag with a value", words("read COM1 --json=1"),
           QStringLiteral("--json takes no value. Try ksproxyctl read --help."));
    addRow("a file without a name",
           {QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--file="),
            QStringLiteral("--json")},
           QStringLiteral("--file needs a name. Try ksproxyctl write --help."));
    addRow("a server without a name",
           {QStringLiteral("status"), QStringLiteral("--server"), QString()},
           QStringLiteral("--server needs a name. Try ksproxyctl status --help."));
    addRow("no key", words("read"), QStringLiteral("KEY is required. Try ksproxyctl read --help."));
    addRow("an argument too many", words("read COM1 COM2"),
           QStringLiteral("The argument \"COM2\" is one too many. Try ksproxyctl read --help."));
    addRow("a length that is no number", words("read COM1 --length 1f"),
           QStringLiteral("--length takes 1 to 8388608 bytes, not \"1f\". Try ksproxyctl read "
                          "--help."));
    addRow("no length at all", words("read COM1 --length 0"),
           QStringLiteral("--length takes 1 to 8388608 bytes, not \"0\"."));
    addRow("a length over the limit", words("read COM1 --length 0x800001"),
           QStringLiteral("--length takes 1 to 8388608 bytes, not \"0x800001\"."));
    addRow("a dump over the limit", words("dump COM1 --length 0x7fffffff"),
           QStringLiteral("--length takes 1 to 268435456 bytes, not \"0x7fffffff\"."));
    addRow("an address over 32 bits", words("read COM1 --address 0x100000000"),
           QStringLiteral("--address takes 0 to 4294967295 (an address in bytes), not "
                          "\"0x100000000\"."));
    addRow("a negative address", words("read COM1 --address -1"),
           QStringLiteral("--address takes 0 to 4294967295 (an address in bytes), not \"-1\"."));
    addRow("a port over a byte", words("read COM1 --port 128"),
           QStringLiteral("--port takes -128 to 127 (the number of a port), not \"128\"."));
    addRow("a window of nothing", words("dump COM1 --length 4 --window 0"),
           QStringLiteral("--window takes 1 to 1000 requests, not \"0\"."));
    addRow("a time-out of nothing", words("status --timeout 0"),
           QStringLiteral("--timeout takes 1 to 2147483647 milliseconds, not \"0\"."));
    addRow("a wrong format", words("read COM1 --format heks"),
           QStringLiteral("--format takes hex, raw, base64, json, not \"heks\". Did you mean "
                          "\"hex\"? Try ksproxyctl read --help."));
    addRow("neither on nor off", words("auto-connect onn"),
           QStringLiteral("SWITCH takes on, off, not \"onn\". Did you mean \"on\"? Try ksproxyctl "
                          "auto-connect --help."));
    addRow("hex that is none", words("write COM1 --hex 48zz"),
           QStringLiteral("--hex: \"zz\" at character 3 is not a byte of two hexadecimal digits."));
    addRow("two sources of data", words("write COM1 --hex 48 --text H"),
           QStringLiteral("--hex excludes --text."));
    addRow("a dump without a length", words("dump COM1"),
           QStringLiteral("--length has to be given."));
    addRow("names and all", words("connect COM1 --all"),
           QStringLiteral("Name controllers, or give --all: one of the two."));
    addRow("neither names nor all", words("connect"),
           QStringLiteral("Name controllers, or give --all: one of the two."));
    addRow("a key and all", words("cancel COM1 --all"),
           QStringLiteral("Name a key, or give --all: one of the two."));
    addRow("two forms of output", words("poll COM1 --csv --json"),
           QStringLiteral("Give --csv or --json, not both."));
    addRow("an order that cannot be sent", {QStringLiteral("order"), QStringLiteral("\u20ac")},
           QStringLiteral("Only Latin-1 characters can be sent, not \"\u20ac\"."));
    addRow("no order", words("order"),
           QStringLiteral("WORDS is required. Try ksproxyctl order --help."));
}

void tst_CtlUsage::refusesABadCommandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    CtlProcess ctl;
    ctl.launch(arguments);
    QVERIFY(ctl.waitForEnd());
    const QString errors = ctl.errors();
    QVERIFY2(errors.startsWith(QLatin1String("ksproxyctl: ") + message), qPrintable(errors));
    QCOMPARE(errors.count(QLatin1Char('\n')), 1);
    QCOMPARE(ctl.exitCode(), 2);
    QCOMPARE(ctl.output(), QByteArray());
}

void tst_CtlUsage::namesTheVerbsWhenThereIsNone()
{
    CtlProcess ctl;
    ctl.launch({});
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.exitCode(), 2);
    QVERIFY2(ctl.errors().startsWith(
                 QLatin1String("ksproxyctl: A verb is missing: status, list, connect, ")),
             qPrintable(ctl.errors()));
}

void tst_CtlUsage::refusesFilesThatCannotBeRead_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    addRow("write from a file that is not there", words("write COM1 --file /no/such"),
           QStringLiteral("\"/no/such\" cannot be read: No such file or directory."));
    addRow("write from a folder", words("write COM1 --file /"),
           QStringLiteral("\"/\" cannot be read: "));
    addRow("write more than one request carries", words("write COM1 --file /dev/zero"),
           QStringLiteral("\"/dev/zero\" holds more than 8388608 bytes."));
    addRow("load more than a transfer carries", words("load COM1 /dev/zero"),
           QStringLiteral("\"/dev/zero\" holds more than 268435456 bytes."));
    addRow("load a file that is not there", words("load COM1 /no/such"),
           QStringLiteral("\"/no/such\" cannot be read: No such file or directory."));
    addRow("load an empty file", words("load COM1 /dev/null"),
           QStringLiteral("There is nothing in \"/dev/null\"."));
    addRow("load more than the file holds", words("load COM1 /proc/self/comm --length 1000"),
           QStringLiteral("\"/proc/self/comm\" holds 11 bytes, not 1000."));
    addRow("resume what was not begun", words("load COM1 /proc/self/comm --resume"),
           QStringLiteral("There is nothing to resume: "
                          "\"/proc/self/comm.ksproxyctl-resume\" cannot be read: "));
}

void tst_CtlUsage::refusesFilesThatCannotBeRead()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    CtlProcess ctl;
    QVERIFY(ctl.run(arguments));
    QVERIFY2(ctl.errors().startsWith(QLatin1String("ksproxyctl: ") + message),
             qPrintable(ctl.errors()));
    QCOMPARE(ctl.exitCode(), 1);
    QCOMPARE(ctl.output(), QByteArray());
}

void tst_CtlUsage::printsItsVersion()
{
    CtlProcess ctl;
    ctl.launch({QStringLiteral("--version")});
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.exitCode(), 0);
    QCOMPARE(ctl.output(), QByteArray("ksproxyctl " KSPROXY_VERSION "\n"));
    QCOMPARE(ctl.errors(), QString());
}

void tst_CtlUsage::printsItsHelp()
{
    CtlProcess ctl;
    ctl.launch({QStringLiteral("--help")});
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.exitCode(), 0);
    for (const char *line :
         {"Usage: ksproxyctl [OPTIONS] VERB\n", "\n  status  ", "\n  auto-connect  ",
          "\n    9  what was read back is not what was written\n", "\n  130  interrupted"})
        QVERIFY2(ctl.output().contains(line), line);
}

void tst_CtlUsage::printsTheHelpOfAVerb()
{
    CtlProcess ctl;
    ctl.launch({QStringLiteral("poll"), QStringLiteral("--help")});
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.exitCode(), 0);
    for (const char *line :
         {"Usage: ksproxyctl poll [OPTIONS] KEY\n", "--interval MS ", "Default 1000 ms.\n"})
        QVERIFY2(ctl.output().contains(line), line);
}

void tst_CtlUsage::waitsForSilenceAsLongAsForAnAnswer()
{
    CommonOptions options;
    QCOMPARE(options.sessionOptions().silenceLimitMs, SessionOptions().silenceLimitMs);
    options.timeoutMs = 10;
    QCOMPARE(options.sessionOptions().silenceLimitMs, SessionOptions().silenceLimitMs);
    options.timeoutMs = 300000;
    QCOMPARE(options.sessionOptions().silenceLimitMs, 300000);
}

void tst_CtlUsage::givesEachErrorAnExitCode_data()
{
    QTest::addColumn<SessionError::Code>("error");
    QTest::addColumn<ExitCode>("code");
    using Code = SessionError::Code;
    QTest::newRow("none") << Code::None << ExitCode::Done;
    QTest::newRow("invalid") << Code::InvalidArgument << ExitCode::Usage;
    QTest::newRow("wrong thread") << Code::WrongThread << ExitCode::Failed;
    QTest::newRow("not ready") << Code::NotReady << ExitCode::Failed;
    QTest::newRow("no server") << Code::NoServer << ExitCode::NoServer;
    QTest::newRow("no start") << Code::ServerStartFailed << ExitCode::NoServer;
    QTest::newRow("no start in time") << Code::StartTimedOut << ExitCode::NoServer;
    QTest::newRow("rejected") << Code::RegistrationRejected << ExitCode::RegistrationRefused;
    QTest::newRow("error") << Code::RegistrationFailed << ExitCode::RegistrationRefused;
    QTest::newRow("no registration in time") << Code::RegistrationTimedOut << ExitCode::TimedOut;
    QTest::newRow("lost") << Code::ConnectionLost << ExitCode::ConnectionLost;
    QTest::newRow("closed") << Code::SessionClosed << ExitCode::ConnectionLost;
    QTest::newRow("aborted") << Code::Aborted << ExitCode::Interrupted;
    QTest::newRow("timed out") << Code::TimedOut << ExitCode::TimedOut;
    QTest::newRow("no equipment") << Code::NoEquipment << ExitCode::NoEquipment;
    QTest::newRow("refused") << Code::DeviceRefused << ExitCode::DeviceRefused;
    QTest::newRow("device timed out") << Code::DeviceTimedOut << ExitCode::TimedOut;
    QTest::newRow("cancelled") << Code::DeviceCancelled << ExitCode::DeviceRefused;
    QTest::newRow("bad reply") << Code::BadReply << ExitCode::Failed;
    QTest::newRow("out of memory") << Code::OutOfMemory << ExitCode::Failed;
    QTest::newRow("not verified") << Code::VerificationFailed << ExitCode::VerificationFailed;
}

void tst_CtlUsage::givesEachErrorAnExitCode()
{
    QFETCH(SessionError::Code, error);
    QTEST(exitCodeOf(error), "code");
}

KSPROXY_TEST_MAIN(tst_CtlUsage)
#include "tst_CtlUsage.moc"
