#include "CtlProcess.h"
#include "ServerProcess.h"
#include "Terminal.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QProcess>
#include <QTest>

namespace {

const QStringList Read{QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--address"),
                       QStringLiteral("0x40")};

QString dataFile()
{
    return testFolder() + QLatin1String("/data");
}

QByteArray content(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

} // namespace

/// Where data that was read goes, and in what form, with a real server.
class tst_CtlDataOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void readsInEachForm_data();
    void readsInEachForm();
    void readsIntoAFile_data();
    void readsIntoAFile();
    void leavesTheFileAloneWhenItFails();
    void writesToWhatIsNoRegularFile();
    void saysThatTheFileCannotBeWritten();
    void saysThatTheOutputCannotBeWritten_data();
    void saysThatTheOutputCannotBeWritten();
    void copesWithClosedStreams_data();
    void copesWithClosedStreams();
    void showsAHexDumpOnATerminal();

private:
    ServerProcess m_server;
    CtlProcess m_ctl;
};

void tst_CtlDataOutput::init()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start());
    QVERIFY(m_ctl.run({QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--text"),
                       QStringLiteral("Hello, equipment!"), QStringLiteral("--address"),
                       QStringLiteral("0x40")}));
    QCOMPARE(m_ctl.exitCode(), 0);
}

void tst_CtlDataOutput::readsInEachForm_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("none named") << QStringList()
                                << QByteArray("00000040  48 65 6c 6c 6f 2c 20 65  71 75 69 70 6d "
                                              "65 6e 74  |Hello, equipment|\n00000050  21         "
                                              "                                       |!|\n");
    const QString format = QStringLiteral("--format");
    QTest::newRow("raw") << QStringList{format, QStringLiteral("raw")}
                         << QByteArray("Hello, equipment!");
    QTest::newRow("base64") << QStringList{format, QStringLiteral("base64")}
                            << QByteArray("SGVsbG8sIGVxdWlwbWVudCE=\n");
    const QByteArray json("{\"address\":64,\"data\":\"SGVsbG8sIGVxdWlwbWVudCE=\",\"key\":\"COM1\","
                          "\"length\":17}\n");
    QTest::newRow("json") << QStringList{format, QStringLiteral("json")} << json;
    QTest::newRow("JSON as everywhere") << QStringList{QStringLiteral("--json")} << json;
}

void tst_CtlDataOutput::readsInEachForm()
{
    QFETCH(QStringList, options);
    QVERIFY(
        m_ctl.run(Read + QStringList{QStringLiteral("--length"), QStringLiteral("17")} + options));
    QCOMPARE(m_ctl.exitCode(), 0);
    QTEST(m_ctl.output(), "output");
    QCOMPARE(m_ctl.errors(), QString());
}

void tst_CtlDataOutput::readsIntoAFile_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("inFile");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("raw") << QStringList() << QByteArray("Hello") << QByteArray();
    QTest::newRow("in a form") << QStringList{QStringLiteral("--format=base64")}
                               << QByteArray("SGVsbG8=\n") << QByteArray();
    QTest::newRow("with JSON about it")
        << QStringList{QStringLiteral("--json")} << QByteArray("Hello")
        << QByteArray("{\"address\":64,\"key\":\"COM1\",\"length\":5}\n");
}

void tst_CtlDataOutput::readsIntoAFile()
{
    QFETCH(QStringList, options);
    QFile longer(dataFile());
    QVERIFY(longer.open(QIODevice::WriteOnly));
    longer.write("what was there before, and is longer");
    longer.close();
    QVERIFY(m_ctl.run(
        Read + QStringList{QStringLiteral("--length=5"), QStringLiteral("--output"), dataFile()}
        + options));
    QCOMPARE(m_ctl.exitCode(), 0);
    QTEST(content(dataFile()), "inFile");
    QTEST(m_ctl.output(), "output");
}

void tst_CtlDataOutput::leavesTheFileAloneWhenItFails()
{
    QFile file(dataFile());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    QVERIFY(m_ctl.run({QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--address"),
                       QStringLiteral("0x7fffffff"), QStringLiteral("--output"), dataFile()}));
    QCOMPARE(m_ctl.exitCode(), 6);
    QCOMPARE(content(dataFile()), QByteArray("precious"));
}

void tst_CtlDataOutput::writesToWhatIsNoRegularFile()
{
    QVERIFY(m_ctl.run(Read + QStringList{QStringLiteral("--output"), QStringLiteral("/dev/null")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(m_ctl.run(Read + QStringList{QStringLiteral("--output"), QStringLiteral("/dev/full")}));
    QCOMPARE(m_ctl.exitCode(), 1);
    QVERIFY2(m_ctl.errors().startsWith(QLatin1String("ksproxyctl: \"/dev/full\" cannot be "
                                                     "written: ")),
             qPrintable(m_ctl.errors()));
}

void tst_CtlDataOutput::saysThatTheFileCannotBeWritten()
{
    QVERIFY(m_ctl.run(Read + QStringList{QStringLiteral("--output"), QStringLiteral("/no/such")}));
    QCOMPARE(m_ctl.exitCode(), 1);
    QCOMPARE(m_ctl.errors(),
             QStringLiteral("ksproxyctl: \"/no/such\" cannot be written: No such file or "
                            "directory.\n"));
}

void tst_CtlDataOutput::saysThatTheOutputCannotBeWritten_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("data") << Read;
    QTest::newRow("help") << QStringList{QStringLiteral("read"), QStringLiteral("--help")};
}

void tst_CtlDataOutput::saysThatTheOutputCannotBeWritten()
{
    QFETCH(QStringList, arguments);
    CtlProcess ctl;
    ctl.setOutputFile(QStringLiteral("/dev/full"));
    QVERIFY(ctl.run(arguments));
    QCOMPARE(ctl.exitCode(), 1);
    QCOMPARE(ctl.errors(),
             QStringLiteral("ksproxyctl: Standard output cannot be written: No space left on "
                            "device.\n"));
}

void tst_CtlDataOutput::copesWithClosedStreams_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("errors");
    QTest::newRow("output") << QStringLiteral("\"$0\" list --no-start >&-") << 1
                            << QByteArray("ksproxyctl: Standard output cannot be written: Bad "
                                          "file descriptor.\n");
    QTest::newRow("input") << QStringLiteral("\"$0\" write COM1 --no-start <&-") << 1
                           << QByteArray("ksproxyctl: Standard input cannot be read: ");
    QTest::newRow("errors") << QStringLiteral("\"$0\" read COM9 --no-start 2>&-") << 5
                            << QByteArray();
    QTest::newRow("all") << QStringLiteral("\"$0\" list --no-start <&- >&- 2>&-") << 1
                         << QByteArray();
}

void tst_CtlDataOutput::copesWithClosedStreams()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, errors);
    QProcess shell;
    shell.start(QStringLiteral("bash"),
                {QStringLiteral("-c"), command, QStringLiteral(KSPROXY_CTL_PROGRAM)});
    QVERIFY(shell.waitForFinished(WaitLimitMs));
    QTEST(shell.exitCode(), "code");
    const QByteArray said = shell.readAllStandardError();
    QVERIFY2(said.startsWith(errors) && said.isEmpty() == errors.isEmpty(), said.constData());
}

void tst_CtlDataOutput::showsAHexDumpOnATerminal()
{
    const QStringList dump{QStringLiteral("dump"), QStringLiteral("COM1"),
                           QStringLiteral("--address=0x40"), QStringLiteral("--length=5")};
    QVERIFY(m_ctl.run(dump));
    QCOMPARE(m_ctl.output(), QByteArray("Hello"));
    Terminal terminal;
    CtlProcess onTerminal;
    onTerminal.setOutputFile(terminal.fileName());
    QVERIFY(onTerminal.run(dump));
    QCOMPARE(onTerminal.exitCode(), 0);
    QVERIFY2(terminal.output().startsWith("00000040  48 65 6c 6c 6f  "), terminal.output());
    Terminal rawTerminal;
    CtlProcess raw;
    raw.setOutputFile(rawTerminal.fileName());
    QVERIFY(raw.run(dump + QStringList{QStringLiteral("--format=raw")}));
    QCOMPARE(rawTerminal.output(), QByteArray("Hello"));
}

KSPROXY_TEST_MAIN(tst_CtlDataOutput)
#include "tst_CtlDataOutput.moc"
