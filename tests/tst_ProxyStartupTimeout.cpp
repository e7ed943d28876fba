#include "LogCapture.h"
#include "ScriptedTools.h"
#include "TestMain.h"
#include "TestProxy.h"

#include <QElapsedTimer>
#include <QTest>

/// The wait for a server that never shows up: a minute, in a program of its own.
class tst_ProxyStartupTimeout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesUpSilentlyAfterAMinute();
};

void tst_ProxyStartupTimeout::givesUpSilentlyAfterAMinute()
{
    const TestProxy proxy;
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!proxy->startServer(QStringLiteral("/a/path")));
    const qint64 elapsed = timer.elapsed();
    QVERIFY(elapsed > 60000);
    QVERIFY2(elapsed < 75000, qPrintable(QString::number(elapsed)));
    QCOMPARE(scriptedTools.startedPaths, QStringList{QStringLiteral("/a/path")});
    // One check per pass of 100 ms and what the events take, 10 ms at most.
    QVERIFY(scriptedTools.checks() <= 602);
    QVERIFY2(scriptedTools.checks() > 300, qPrintable(QString::number(scriptedTools.checks())));
    QVERIFY(!proxy->isConnectedServer());
    // Nothing about the time-out: the server was started, and that is all.
    QCOMPARE(log.texts(QtDebugMsg),
             QStringList{QStringLiteral("KVTServerMessageOldProxy::startServer ")});
    QCOMPARE(
        log.texts(QtInfoMsg),
        QStringList{QStringLiteral(" [KVTServerMessageProxy] server start method was called ok!")});
    QCOMPARE(log.lines().size(), 2);
}

KSPROXY_TEST_MAIN(tst_ProxyStartupTimeout)
#include "tst_ProxyStartupTimeout.moc"
