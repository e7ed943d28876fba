#include "CtlProcess.h"
#include "NamedPipe.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

namespace {

const QString Watching = QStringLiteral("ksproxyctl: Watching. Ctrl-C ends it.\n");

// Lines with their time stamps taken off; those that have none stay as they are.
QStringList withoutTime(const QByteArray &output)
{
    static const QRegularExpression stamp(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[ ,] ?"));
    QStringList lines;
    const QList<QByteArray> all = output.split('\n');
    for (const QByteArray &line : all.mid(0, all.size() - 1))
        lines.append(QString::fromLatin1(line).remove(stamp));
    return lines;
}

void write(const QString &address, const QByteArray &data)
{
    CtlProcess other;
    QVERIFY(other.run(
        {QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--address"), address},
        data));
    QCOMPARE(other.exitCode(), 0);
}

// Whether it has begun to write into \a pipe, and waits for a reader.
bool dumpsMoreThanAPipeHolds(CtlProcess *ctl, const NamedPipe &pipe)
{
    ctl->setOutputFile(pipe.fileName());
    ctl->start({QStringLiteral("dump"), QStringLiteral("COM1"), QStringLiteral("--length=60000"),
                QStringLiteral("--format=hex")});
    return QTest::qWaitFor([&] { return pipe.isFilled(); }, WaitLimitMs);
}

} // namespace

/// The verbs that go on, with a real server.
class tst_CtlStreams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void watchesBroadcasts();
    void watchesConnections();
    void watchesInJson();
    void watchesForATime();
    void endsQuietlyWhenItsReaderGoes();
    void endsQuietlyWhenItsReaderHasEnough();
    void canBeInterruptedWhileItsReaderDoesNotRead();
    void saysWhenTheServerGoesAndComesBack();
    void pollsWhatChanges_data();
    void pollsWhatChanges();
    void pollsOnWhenTheServerIsBack();
    void pollsUntilItIsInterrupted();
    void endsAPollThatTheDeviceRefuses();

private:
    ServerProcess m_server;
    CtlProcess m_ctl;
};

void tst_CtlStreams::init()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start());
}

void tst_CtlStreams::watchesBroadcasts()
{
    m_ctl.start({QStringLiteral("watch"), QStringLiteral("--count=3")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.errors(), Watching, WaitLimitMs);
    write(QStringLiteral("0x40"), "Hi");
    write(QStringLiteral("0"), "0123456789abcdefg");
    CtlProcess other;
    QVERIFY(other.run({QStringLiteral("order"), QStringLiteral("identify")}));
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(withoutTime(m_ctl.output()),
             QStringList({QStringLiteral("broadcast   write \"COM1\" 0x00000040, 2 bytes: 48 69"),
                          QStringLiteral("broadcast   write \"COM1\" 0x00000000, 17 bytes: 30 31 "
                                         "32 33 34 35 36 37 38 39 61 62 63 64 65 66 ..."),
                          QStringLiteral("broadcast   message \"\" 0x00000000 tag \"identify\", %1 "
                                         "bytes: 4b 56 54 53 65 72 76 65 72 4d 61 73 74 65 72 20 "
                                         "...")
                              .arg(qstrlen("KVTServerMaster " KSPROXY_VERSION))}));
    QCOMPARE(m_ctl.errors(), Watching);
}

void tst_CtlStreams::watchesConnections()
{
    m_ctl.start({QStringLiteral("watch"), QStringLiteral("--count=5")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.errors(), Watching, WaitLimitMs);
    CtlProcess other;
    QVERIFY(other.run({QStringLiteral("connect"), QStringLiteral("--all")}));
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 0);
    QStringList lines = withoutTime(m_ctl.output());
    lines.sort();
    QCOMPARE(lines,
             QStringList({QStringLiteral("connected   all controllers"),
                          QStringLiteral("connecting  192.168.0.20:5000"),
                          QStringLiteral("connecting  COM1"),
                          QStringLiteral("connecting  all controllers"),
                          QStringLiteral("table       changed 192.168.0.20:5000, "
                                         "192.168.0.20:5000/1, COM1, COM1/1, COM1/2")}));
}

void tst_CtlStreams::watchesInJson()
{
    m_ctl.start({QStringLiteral("watch"), QStringLiteral("--json"), QStringLiteral("--count=1"),
                 QStringLiteral("--quiet"), QStringLiteral("--verbose")});
    QTRY_VERIFY_WITH_TIMEOUT(m_ctl.errors().contains(QLatin1String("eady")), WaitLimitMs);
    write(QStringLiteral("0x40"), "Hi");
    QVERIFY(m_ctl.waitForEnd());
    QJsonObject event = m_ctl.json();
    QVERIFY(event.take(QStringLiteral("time")).isString());
    const QJsonObject expected{
        {QStringLiteral("event"), QStringLiteral("broadcast")},
        {QStringLiteral("kind"), QStringLiteral("write")},
        {QStringLiteral("key"), QStringLiteral("COM1")},
        {QStringLiteral("address"), 0x40},
        {QStringLiteral("port"), 0},
        {QStringLiteral("board"), 0},
        {QStringLiteral("deviceType"), 0},
        {QStringLiteral("tag"), QString()},
        {QStringLiteral("result"), 0},
        {QStringLiteral("data"), QString::fromLatin1(QByteArray("Hi").toBase64())}};
    QCOMPARE(event, expected);
}

void tst_CtlStreams::watchesForATime()
{
    QElapsedTimer timer;
    timer.start();
    QVERIFY(m_ctl.run({QStringLiteral("watch"), QStringLiteral("--for=1")}));
    QVERIFY(timer.elapsed() >= 1000);
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(), QByteArray());
}

void tst_CtlStreams::endsQuietlyWhenItsReaderGoes()
{
    NamedPipe pipe;
    CtlProcess ctl;
    ctl.setOutputFile(pipe.fileName());
    ctl.start({QStringLiteral("watch")});
    QTRY_COMPARE_WITH_TIMEOUT(ctl.errors(), Watching, WaitLimitMs);
    pipe.closeReader();
    QVERIFY(ctl.waitForEnd());
    QVERIFY(!ctl.hasCrashed());
    QCOMPARE(ctl.exitCode(), 0);
    QCOMPARE(ctl.errors(), Watching);
}

void tst_CtlStreams::endsQuietlyWhenItsReaderHasEnough()
{
    NamedPipe pipe;
    CtlProcess ctl;
    QVERIFY(dumpsMoreThanAPipeHolds(&ctl, pipe));
    pipe.closeReader();
    QVERIFY(ctl.waitForEnd());
    QVERIFY(!ctl.hasCrashed());
    QCOMPARE(ctl.exitCode(), 0);
    QCOMPARE(ctl.errors(), QString());
}

void tst_CtlStreams::canBeInterruptedWhileItsReaderDoesNotRead()
{
    NamedPipe pipe;
    CtlProcess ctl;
    QVERIFY(dumpsMoreThanAPipeHolds(&ctl, pipe));
    ctl.sendSignal(SIGTERM);
    QVERIFY(ctl.waitForEnd());
    QVERIFY(!ctl.hasCrashed());
    QCOMPARE(ctl.exitCode(), 130);
    QCOMPARE(ctl.errors(), QStringLiteral("ksproxyctl: Interrupted.\n"));
}

void tst_CtlStreams::saysWhenTheServerGoesAndComesBack()
{
    m_ctl.start({QStringLiteral("watch"), QStringLiteral("--count=1")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.errors(), Watching, WaitLimitMs);
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QTRY_VERIFY_WITH_TIMEOUT(
        m_ctl.errors().endsWith(QLatin1String(". Waiting for it to come back.\n")), WaitLimitMs);
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(
        m_ctl.errors().endsWith(QLatin1String("\nksproxyctl: The server is back.\n")), WaitLimitMs);
    write(QStringLiteral("0"), "again");
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(withoutTime(m_ctl.output()),
             QStringList({QStringLiteral("broadcast   write \"COM1\" 0x00000000, 5 bytes: 61 67 61 "
                                         "69 6e")}));
}

void tst_CtlStreams::pollsWhatChanges_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("firstLines");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("for people")
        << QStringList() << 1
        << QStringList({QStringLiteral("00000002  00 00 00 00                                      "
                                       " |....|"),
                        QStringLiteral("0x00000003  00 00 -> 48 69")});
    QTest::newRow("in rows") << QStringList{QStringLiteral("--csv")} << 2
                             << QStringList({QStringLiteral("time,address,before,after"),
                                             QStringLiteral("0x00000002,,00000000"),
                                             QStringLiteral("0x00000003,0000,4869")});
}

void tst_CtlStreams::pollsWhatChanges()
{
    QFETCH(QStringList, options);
    QFETCH(int, firstLines);
    m_ctl.start(QStringList{QStringLiteral("poll"), QStringLiteral("COM1"),
                            QStringLiteral("--address=2"), QStringLiteral("--length=4"),
                            QStringLiteral("--interval=20")}
                + options);
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), firstLines, WaitLimitMs);
    write(QStringLiteral("3"), "Hi");
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), firstLines + 1, WaitLimitMs);
    QTEST(withoutTime(m_ctl.output()), "lines");
}

void tst_CtlStreams::pollsOnWhenTheServerIsBack()
{
    m_ctl.start({QStringLiteral("poll"), QStringLiteral("COM1"), QStringLiteral("--length=4"),
                 QStringLiteral("--interval=20"), QStringLiteral("--json")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 1, WaitLimitMs);
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(m_ctl.errors().endsWith(QLatin1String("The server is back.\n")),
                             WaitLimitMs);
    write(QStringLiteral("1"), "\xff");
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 2, WaitLimitMs);
    QJsonObject change = QJsonDocument::fromJson(m_ctl.output().split('\n').at(1)).object();
    QVERIFY(change.take(QStringLiteral("time")).isString());
    const QJsonObject expected{{QStringLiteral("address"), 1},
                               {QStringLiteral("before"), QStringLiteral("00")},
                               {QStringLiteral("after"), QStringLiteral("ff")}};
    QCOMPARE(change, expected);
}

void tst_CtlStreams::pollsUntilItIsInterrupted()
{
    QVERIFY(m_ctl.run({QStringLiteral("poll"), QStringLiteral("COM1"), QStringLiteral("--count=3"),
                       QStringLiteral("--interval=10")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output().count('\n'), 1);
    m_ctl.start({QStringLiteral("poll"), QStringLiteral("COM1")});
    QTRY_COMPARE_WITH_TIMEOUT(m_ctl.output().count('\n'), 1, WaitLimitMs);
    m_ctl.sendSignal(SIGINT);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
    QCOMPARE(m_ctl.errors(), QStringLiteral("ksproxyctl: Interrupted.\n"));
}

void tst_CtlStreams::endsAPollThatTheDeviceRefuses()
{
    QVERIFY(m_ctl.run(
        {QStringLiteral("poll"), QStringLiteral("COM1"), QStringLiteral("--address=0x7fffffff")}));
    QCOMPARE(m_ctl.exitCode(), 6);
    QCOMPARE(m_ctl.output(), QByteArray());
    QVERIFY(m_ctl.run({QStringLiteral("poll"), QStringLiteral("COM9")}));
    QCOMPARE(m_ctl.exitCode(), 5);
}

KSPROXY_TEST_MAIN(tst_CtlStreams)
#include "tst_CtlStreams.moc"
