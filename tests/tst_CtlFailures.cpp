#include "CtlProcess.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QTest>

#include <csignal>

namespace {

const QString Slow = QStringLiteral("--latency=30000");
const QString Silent = QStringLiteral("--register=silent");

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

/// Servers that are not there, refuse, keep silent or go, and the exit codes that say so.
class tst_CtlFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void saysThatThereIsNoServer_data();
    void saysThatThereIsNoServer();
    void saysThatTheServerRefuses_data();
    void saysThatTheServerRefuses();
    void reportsTheStatusOfARefusal();
    void givesUpInTime_data();
    void givesUpInTime();
    void countsPingsThatFail();
    void pings();
    void noticesThatTheServerGoes_data();
    void noticesThatTheServerGoes();
    void canBeInterruptedAtAnyTime_data();
    void canBeInterruptedAtAnyTime();

private:
    ServerProcess m_server;
    CtlProcess m_ctl;
};

void tst_CtlFailures::cleanup()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
}

void tst_CtlFailures::saysThatThereIsNoServer_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char *line :
         {"status", "list", "list --watch", "connect --all", "read COM1", "write COM1",
          "dump COM1 --length 4", "load COM1 /proc/self/comm", "watch", "poll COM1", "ping COM1",
          "cancel --all", "order identify", "auto-connect on"})
        QTest::newRow(line) << words(line);
}

void tst_CtlFailures::saysThatThereIsNoServer()
{
    QFETCH(QStringList, arguments);
    QVERIFY(m_ctl.run(arguments + QStringList{QStringLiteral("--timeout=300")}));
    QCOMPARE(m_ctl.exitCode(), 3);
    QVERIFY2(m_ctl.errors().startsWith(QLatin1String("ksproxyctl: No device server ")),
             qPrintable(m_ctl.errors()));
    QCOMPARE(m_ctl.errors().count(QLatin1Char('\n')), 1);
    QVERIFY(m_ctl.output().isEmpty() || arguments.constFirst() == QLatin1String("status"));
}

void tst_CtlFailures::saysThatTheServerRefuses_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("rejected") << QStringLiteral("--register=reject");
    QTest::newRow("error") << QStringLiteral("--register=error");
}

void tst_CtlFailures::saysThatTheServerRefuses()
{
    QFETCH(QString, answer);
    QVERIFY(m_server.start({answer}));
    QVERIFY(m_ctl.run({QStringLiteral("list")}));
    QCOMPARE(m_ctl.exitCode(), 4);
    QCOMPARE(m_ctl.errors().count(QLatin1Char('\n')), 1);
    QCOMPARE(m_ctl.output(), QByteArray());
    QVERIFY(m_ctl.run({QStringLiteral("watch")})); // no waiting for a better answer
    QCOMPARE(m_ctl.exitCode(), 4);
}

void tst_CtlFailures::reportsTheStatusOfARefusal()
{
    QVERIFY(m_server.start({QStringLiteral("--register=reject")}));
    QVERIFY(m_ctl.run({QStringLiteral("status"), QStringLiteral("--json")}));
    QCOMPARE(m_ctl.exitCode(), 4);
    QCOMPARE(m_ctl.json().value(QLatin1String("registered")), QJsonValue(false));
    QVERIFY(m_ctl.run({QStringLiteral("status")}));
    QVERIFY(m_ctl.output().endsWith("\nregistration  none\n"));
}

void tst_CtlFailures::givesUpInTime_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no registration") << Silent << words("status");
    QTest::newRow("no registration of a stream") << Silent << words("watch");
    for (const char *line :
         {"read COM1", "write COM1 --hex 00", "dump COM1 --length 4",
          "load COM1 /proc/self/comm --length 4", "poll COM1", "ping COM1 --count 1",
          "order identify", "cancel COM1/1", "connect COM1"})
        QTest::newRow(line) << Slow << words(line);
}

void tst_CtlFailures::givesUpInTime()
{
    QFETCH(QString, server);
    QFETCH(QStringList, arguments);
    QVERIFY(m_server.start({server}));
    QVERIFY(m_ctl.run(arguments + QStringList{QStringLiteral("--timeout=200")}));
    QVERIFY2(m_ctl.exitCode() == 7, qPrintable(m_ctl.errors()));
    QCOMPARE(m_ctl.errors().count(QLatin1Char('\n')), 1);
}

void tst_CtlFailures::countsPingsThatFail()
{
    QVERIFY(m_server.start({Slow}));
    QVERIFY(m_ctl.run({QStringLiteral("ping"), QStringLiteral("COM1"), QStringLiteral("--count=2"),
                       QStringLiteral("--interval=0"), QStringLiteral("--timeout=100")}));
    QCOMPARE(m_ctl.exitCode(), 7);
    QCOMPARE(m_ctl.output(), QByteArray("2 requests, 2 failed\n"));
}

void tst_CtlFailures::pings()
{
    QVERIFY(m_server.start({QStringLiteral("--latency=50")}));
    QVERIFY(m_ctl.run({QStringLiteral("ping"), QStringLiteral("COM1"), QStringLiteral("--count=3"),
                       QStringLiteral("--interval=0"), QStringLiteral("--json")}));
    QCOMPARE(m_ctl.exitCode(), 0);
    const QJsonObject report = m_ctl.json();
    QCOMPARE(report.value(QLatin1String("key")), QJsonValue(QStringLiteral("COM1")));
    QCOMPARE(report.value(QLatin1String("count")), QJsonValue(3));
    QCOMPARE(report.value(QLatin1String("failures")), QJsonValue(0));
    const double least = report.value(QLatin1String("minimumMs")).toDouble();
    QVERIFY(least >= 50);
    QVERIFY(report.value(QLatin1String("medianMs")).toDouble() >= least);
    QVERIFY(report.value(QLatin1String("maximumMs")).toDouble() < WaitLimitMs);
}

void tst_CtlFailures::noticesThatTheServerGoes_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char *line : {"read COM1", "write COM1 --hex 00", "dump COM1 --length 4",
                             "ping COM1", "order identify"})
        QTest::newRow(line) << words(line);
}

void tst_CtlFailures::noticesThatTheServerGoes()
{
    QFETCH(QStringList, arguments);
    QVERIFY(m_server.start({Slow, QStringLiteral("--verbose")}));
    m_ctl.start(arguments + QStringList{QStringLiteral("--timeout=60000")});
    // The request has arrived, and its answer takes long.
    QTRY_VERIFY_WITH_TIMEOUT(
        m_server.errors().contains(QLatin1String("serverConnectionKey=COM1;"))
            || m_server.errors().contains(QLatin1String("serverConnectionKey=192.168.0.20%3A5000")),
        WaitLimitMs);
    m_server.kill();
    QVERIFY(m_ctl.waitForEnd());
    QVERIFY2(m_ctl.exitCode() == 8, qPrintable(m_ctl.errors()));
    QCOMPARE(m_ctl.errors().count(QLatin1Char('\n')), 1);
}

void tst_CtlFailures::canBeInterruptedAtAnyTime_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("moment");
    QTest::newRow("while it registers") << Silent << words("list") << QStringLiteral(": 0 \"\"");
    for (const char *line : {"read COM1", "dump COM1 --length 4", "ping COM1"})
        QTest::newRow(line) << Slow << words(line) << QStringLiteral("serverConnectionKey=COM1;");
}

void tst_CtlFailures::canBeInterruptedAtAnyTime()
{
    QFETCH(QString, server);
    QFETCH(QStringList, arguments);
    QFETCH(QString, moment);
    QVERIFY(m_server.start({server, QStringLiteral("--verbose")}));
    m_ctl.start(arguments + QStringList{QStringLiteral("--timeout=60000")});
    QTRY_VERIFY_WITH_TIMEOUT(m_server.errors().contains(moment), WaitLimitMs);
    m_ctl.sendSignal(SIGINT);
    QVERIFY(m_ctl.waitForEnd());
    QCOMPARE(m_ctl.exitCode(), 130);
    QVERIFY2(m_ctl.errors().startsWith(QLatin1String("ksproxyctl: Interrupted.")),
             qPrintable(m_ctl.errors()));
}

KSPROXY_TEST_MAIN(tst_CtlFailures)
#include "tst_CtlFailures.moc"
