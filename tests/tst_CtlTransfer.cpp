#include "CtlProcess.h"
#include "ServerProcess.h"
#include "Terminal.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

namespace {

constexpr int Size = 60000;

QString inFolder(const char *name)
{
    return testFolder() + QLatin1Char('/') + QLatin1String(name);
}

QByteArray content(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

QByteArray writtenData()
{
    QByteArray data;
    for (int i = 0; i < Size; ++i)
        data += static_cast<char>(i * 7 + i / 256);
    QFile file(inFolder("data"));
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != Size)
        qFatal("the data cannot be written");
    return data;
}

QString resumeFile()
{
    return inFolder("data.ksproxyctl-resume");
}

QStringList load(const QStringList &options = QStringList())
{
    return QStringList{QStringLiteral("load"), QStringLiteral("COM1"), inFolder("data")} + options;
}

QStringList dump(const QStringList &options = QStringList())
{
    return QStringList{QStringLiteral("dump"), QStringLiteral("COM1"),
                       QStringLiteral("--length=%1").arg(Size)}
    + options;
}

// Small and one after the other, so that there is time to do something in the middle.
const QStringList Slowly{QStringLiteral("--chunk=500"), QStringLiteral("--window=1")};

} // namespace

/// Dumps and loads of whole ranges, with a real server.
class tst_CtlTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void dumpsWhatWasLoaded_data();
    void dumpsWhatWasLoaded();
    void loadsAPartOfAFile();
    void dumpsInJson();
    void refusesARangeThatCannotBe();
    void saysHowFarAnInterruptedDumpCame();
    void goesOnWithAnInterruptedLoad();
    void goesOnWithALoadWhoseServerWent();
    void refusesToResumeAnotherLoad_data();
    void refusesToResumeAnotherLoad();
    void goesBackToWhatWasVerified();
    void drawsItsProgressOnATerminal();
    void drawsNothingWhenQuiet();

private:
    int interruptedAt(CtlProcess *ctl);
    /// Interrupts what runs once it has passed 2000 bytes; how far it says that it came.
    void interruptInTheMiddle(int *done);

    ServerProcess m_server;
    CtlProcess m_ctl;
    QByteArray m_data;
};

void tst_CtlTransfer::init()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start({QStringLiteral("--verbose")}));
    m_data = writtenData();
    QFile::remove(resumeFile());
    QFile::remove(inFolder("dumped"));
}

void tst_CtlTransfer::dumpsWhatWasLoaded_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("in one chunk") << QStringList();
    QTest::newRow("in chunks that do not fit")
        << QStringList{QStringLiteral("--chunk=0x1001"), QStringLiteral("--window=3")};
    QTest::newRow("somewhere") << QStringList{QStringLiteral("--address=321")};
}

void tst_CtlTransfer::dumpsWhatWasLoaded()
{
    QFETCH(QStringList, options);
    QVERIFY(m_ctl.run(load(options) + QStringList{QStringLiteral("--verify")}));
    QVERIFY2(m_ctl.exitCode() == 0, qPrintable(m_ctl.errors()));
    QVERIFY(m_ctl.output().startsWith("Wrote 60000 bytes to COM1 at 0x"));
    QVERIFY(m_ctl.output().endsWith(" and read them back.\n"));
    QVERIFY(m_ctl.run(dump(options)));
    QCOMPARE(m_ctl.output(), m_data);
    QVERIFY(m_ctl.run(dump(options) + QStringList{QStringLiteral("--output"), inFolder("dumped")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray());
    QCOMPARE(content(inFolder("dumped")), m_data);
    QVERIFY(!QFile::exists(resumeFile()));
}

void tst_CtlTransfer::loadsAPartOfAFile()
{
    QVERIFY(m_ctl.run(load({QStringLiteral("--length=100"), QStringLiteral("--json")})));
    QCOMPARE(m_ctl.output(),
             QByteArray("{\"address\":0,\"key\":\"COM1\",\"length\":100,\"resumedAt\":0,"
                        "\"verified\":false}\n"));
    QVERIFY(m_ctl.run(dump()));
    QCOMPARE(m_ctl.output(), m_data.left(100) + QByteArray(Size - 100, '\0'));
}

void tst_CtlTransfer::dumpsInJson()
{
    QVERIFY(m_ctl.run(load()));
    QVERIFY(m_ctl.run(dump({QStringLiteral("--json")})));
    QCOMPARE(m_ctl.json().value(QLatin1String("length")).toInt(), Size);
    QCOMPARE(
        QByteArray::fromBase64(m_ctl.json().value(QLatin1String("data")).toString().toLatin1()),
        m_data);
}

void tst_CtlTransfer::refusesARangeThatCannotBe()
{
    QVERIFY(m_ctl.run(load({QStringLiteral("--address=0xffffff00")})));
    QCOMPARE(m_ctl.exitCode(), 2);
    QVERIFY2(m_ctl.errors().contains(QLatin1String("32-bit addresses. Done: 0 of 60000 bytes.\n")),
             qPrintable(m_ctl.errors()));
    QVERIFY(!QFile::exists(resumeFile()));
    QVERIFY(m_ctl.run(dump(
        {QStringLiteral("--address=0xfffff"), QStringLiteral("--output"), inFolder("dumped")})));
    QCOMPARE(m_ctl.exitCode(), 6);
    QCOMPARE(content(inFolder("dumped")), QByteArray());
}

// How far the program says it came; -1 when it does not say so.
int tst_CtlTransfer::interruptedAt(CtlProcess *ctl)
{
    static const QRegularExpression report(
        QStringLiteral("^ksproxyctl: .*\\. Done: (\\d+) of 60000 bytes\\."));
    const QRegularExpressionMatch match = report.match(ctl->errors());
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

void tst_CtlTransfer::interruptInTheMiddle(int *done)
{
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(QLatin1String("lowAddr=2000;")),
                             WaitLimitMs);
    m_ctl.sendSignal(SIGINT);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
    *done = interruptedAt(&m_ctl);
    QVERIFY2(*done >= 2000 && *done < Size, qPrintable(m_ctl.errors()));
}

void tst_CtlTransfer::saysHowFarAnInterruptedDumpCame()
{
    QVERIFY(m_ctl.run(load()));
    m_ctl.start(dump(Slowly + QStringList{QStringLiteral("--output"), inFolder("dumped")}));
    int done = 0;
    interruptInTheMiddle(&done);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(content(inFolder("dumped")), m_data.left(done));
}

void tst_CtlTransfer::goesOnWithAnInterruptedLoad()
{
    m_ctl.start(load(Slowly));
    int done = 0;
    interruptInTheMiddle(&done);
    if (QTest::currentTestFailed())
        return;
    QVERIFY(m_ctl.errors().endsWith(QLatin1String(" load --resume goes on from there.\n")));
    QCOMPARE(QJsonDocument::fromJson(content(resumeFile())).object().value(QLatin1String("offset")),
             QJsonValue(done));

    QVERIFY(m_ctl.run(load({QStringLiteral("--resume")})));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(),
             QStringLiteral("Wrote %1 bytes to COM1 at 0x%2.\n")
                 .arg(Size - done)
                 .arg(done, 8, 16, QLatin1Char('0'))
                 .toLatin1());
    QVERIFY(!QFile::exists(resumeFile()));
    QVERIFY(m_ctl.run(dump()));
    QCOMPARE(m_ctl.output(), m_data);
}

void tst_CtlTransfer::goesOnWithALoadWhoseServerWent()
{
    m_ctl.start(load(Slowly));
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(QLatin1String("lowAddr=2000;")),
                             WaitLimitMs);
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 8);
    const int done = interruptedAt(&m_ctl);
    QVERIFY2(done > 0 && done < Size, qPrintable(m_ctl.errors()));

    QVERIFY(m_server.start());
    QVERIFY(m_ctl.run(load({QStringLiteral("--resume"), QStringLiteral("--json")})));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.json().value(QLatin1String("resumedAt")).toInt(), done);
    QVERIFY(m_ctl.run(dump()));
    QCOMPARE(m_ctl.output(), QByteArray(done, '\0') + m_data.mid(done));
}

void tst_CtlTransfer::refusesToResumeAnotherLoad_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("difference");
    QTest::newRow("to another address")
        << QStringList{QStringLiteral("--address=1")} << QStringLiteral("address");
    QTest::newRow("of a part") << QStringList{QStringLiteral("--length=100")}
                               << QStringLiteral("sha256");
}

void tst_CtlTransfer::refusesToResumeAnotherLoad()
{
    QFETCH(QStringList, options);
    QFETCH(QString, difference);
    m_ctl.start(load(Slowly));
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(QLatin1String("lowAddr=2000;")),
                             WaitLimitMs);
    m_ctl.sendSignal(SIGTERM);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);

    QVERIFY(m_ctl.run(load({QStringLiteral("--resume")}) + options));
    QCOMPARE(m_ctl.exitCode(), 1);
    QCOMPARE(m_ctl.errors(),
             QStringLiteral("ksproxyctl: \"%1\" belongs to another load: its %2 is not that of "
                            "this one.\n")
                 .arg(resumeFile(), difference));
    QVERIFY(QFile::exists(resumeFile()));
}

void tst_CtlTransfer::goesBackToWhatWasVerified()
{
    m_ctl.start(load(Slowly + QStringList{QStringLiteral("--verify")}));
    // Reads follow the writes.
    const QRegularExpression read(QStringLiteral("readWriteCode=0;[^\"]*lowAddr=2000;"));
    QTRY_VERIFY_WITH_TIMEOUT(read.match(m_server.errors()).hasMatch(), WaitLimitMs);
    m_ctl.sendSignal(SIGINT);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
    const int done = interruptedAt(&m_ctl);
    QVERIFY2(done >= 2000 && done < Size, qPrintable(m_ctl.errors()));
    QVERIFY(m_ctl.run(load({QStringLiteral("--resume"), QStringLiteral("--verify")})));
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(m_ctl.output().startsWith(QByteArray("Wrote ") + QByteArray::number(Size - done)));
}

void tst_CtlTransfer::drawsItsProgressOnATerminal()
{
    Terminal terminal;
    CtlProcess ctl;
    ctl.setErrorFile(terminal.fileName());
    ctl.start(load(Slowly));
    QTRY_VERIFY_WITH_TIMEOUT(terminal.output().contains("%  "), WaitLimitMs);
    QVERIFY(terminal.output().startsWith("\r\033[K["));
    ctl.sendSignal(SIGINT);
    QVERIFY(ctl.waitForEnd());
    // The line is removed before anything else is said.
    QTRY_VERIFY_WITH_TIMEOUT(terminal.output().contains("bytes\r\033[Kksproxyctl: Interrupted. "),
                             WaitLimitMs);
}

void tst_CtlTransfer::drawsNothingWhenQuiet()
{
    Terminal terminal;
    CtlProcess ctl;
    ctl.setErrorFile(terminal.fileName());
    QVERIFY(ctl.run(load({QStringLiteral("--quiet")})));
    QCOMPARE(ctl.exitCode(), 0);
    QCOMPARE(terminal.output(), QByteArray());
    QCOMPARE(ctl.output(), QByteArray());
}

KSPROXY_TEST_MAIN(tst_CtlTransfer)
#include "tst_CtlTransfer.moc"
