#include "LocalPeer.h"
#include "LogCapture.h"
#include "ScriptedTools.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

const QString AskedLine = QStringLiteral("debug: KVTServerMessageOldProxy::startServer ");
const QString AlreadyLine
    = QStringLiteral("debug: KVTServerMessageOldProxy server is already started!");
const QString StartedLine
    = QStringLiteral("info:  [KVTServerMessageProxy] server start method was called ok!");
const QString FailedLine = QStringLiteral("info:  [KVTServerMessageProxy] server start timeout .");

/// The path as the logger writes it, quotes included, is \a quoted.
QString errorLine(const QString &quoted)
{
    return QStringLiteral("critical:  [KVTServerMessageProxy] execStartKVTServer error!  path :  ")
        + quoted;
}

QString defaultPathLine(const QString &quoted)
{
    return QStringLiteral("critical:  [KVTServerMessageProxy] server path(from APP) is empty , "
                          "default link path:  ")
        + quoted;
}

/// All lines with their levels, in order.
QStringList linesOf(const LogCapture &log)
{
    QStringList lines;
    const QList<LogLine> all = log.lines();
    for (const LogLine &line : all) {
        const QString level = line.level == QtDebugMsg ? QStringLiteral("debug")
            : line.level == QtInfoMsg                  ? QStringLiteral("info")
            : line.level == QtCriticalMsg              ? QStringLiteral("critical")
                                                       : QStringLiteral("another level");
        lines.append(level + QStringLiteral(": ") + line.text);
    }
    return lines;
}

} // namespace

class tst_ProxyStartup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void letsATimerDeleteTheProxyWhileItWaits();
    void findsAServerThatRuns();
    void doesNotLookAgainOnceConnected();
    void looksAgainAfterUnRegister();
    void startsTheServerOnceAndWaitsForIt();
    void takesTheDefaultPathForAnEmptyOne_data();
    void takesTheDefaultPathForAnEmptyOne();
    void givesUpAtOnceWhenTheStartFails();
    void givesUpAtOnceWhenTheDefaultPathFails();
    void triesAgainInTheNextCall();
    void servesEventsWhileItWaits();
    void keepsTheLoopsRunningWhileItWaits();
    void canBeCalledFromAnEventThatItServes();
    void writesPathsAsTheLoggerDoes_data();
    void writesPathsAsTheLoggerDoes();
    void startsByPathOnRequest();
    void neverStopsTheServer();
    void neverAsksWhetherTheServerRuns();
};

void tst_ProxyStartup::init()
{
    scriptedTools = ScriptedTools();
}

void tst_ProxyStartup::findsAServerThatRuns()
{
    const TestProxy proxy;
    scriptedTools.runningFromCheck = 1;
    QSignalSpy rounds(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    const LogCapture log;
    QVERIFY(proxy->startServer(QStringLiteral("/a/path")));
    QCOMPARE(linesOf(log), QStringList{AskedLine});
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("KVTServerMessageOldProxy::startServer ")), 1);
    QCOMPARE(scriptedTools.checkedNames, QStringList{QStringLiteral("KVTServerMaster")});
    QVERIFY(scriptedTools.startedPaths.isEmpty());
    QCOMPARE(scriptedTools.defaultPathCalls, 0);
    QVERIFY(proxy->isConnectedServer());
    QVERIFY(!proxy->isRegisted());
    QCOMPARE(rounds.size(), 0);
}

void tst_ProxyStartup::doesNotLookAgainOnceConnected()
{
    const TestProxy proxy;
    scriptedTools.runningFromCheck = 1;
    QVERIFY(proxy->startServer(QString()));
    scriptedTools = ScriptedTools();
    const LogCapture log;
    QVERIFY(proxy->startServer(QString()));
    QCOMPARE(linesOf(log), (QStringList{AskedLine, AlreadyLine}));
    QCOMPARE(scriptedTools.checks(), 0);
    QVERIFY(scriptedTools.startedPaths.isEmpty());
    QCOMPARE(scriptedTools.defaultPathCalls, 0);
    QVERIFY(proxy->isConnectedServer());
}

void tst_ProxyStartup::looksAgainAfterUnRegister()
{
    const TestProxy proxy;
    proxy->creatMsgClient();
    scriptedTools.runningFromCheck = 1;
    QVERIFY(proxy->startServer(QString()));
    proxy->setRegisted(true);
    QVERIFY(proxy->UnRegister());
    QVERIFY(proxy->startServer(QString()));
    QCOMPARE(scriptedTools.checks(), 2);
}

void tst_ProxyStartup::startsTheServerOnceAndWaitsForIt()
{
    const TestProxy proxy;
    scriptedTools.runningFromCheck = 5;
    QElapsedTimer timer;
    timer.start();
    const LogCapture log;
    QVERIFY(proxy->startServer(QStringLiteral("/a b/server")));
    QVERIFY(timer.elapsed() >= 4 * 100);
    QCOMPARE(linesOf(log), (QStringList{AskedLine, StartedLine}));
    QCOMPARE(scriptedTools.checks(), 5);
    QCOMPARE(scriptedTools.startedPaths, QStringList{QStringLiteral("/a b/server")});
    QCOMPARE(scriptedTools.defaultPathCalls, 0);
    QVERIFY(proxy->isConnectedServer());
}

void tst_ProxyStartup::takesTheDefaultPathForAnEmptyOne_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("null") << QString();
}

void tst_ProxyStartup::takesTheDefaultPathForAnEmptyOne()
{
    QFETCH(QString, path);
    const TestProxy proxy;
    scriptedTools.runningFromCheck = 3;
    const LogCapture log;
    QVERIFY(proxy->startServer(path));
    QCOMPARE(linesOf(log),
             (QStringList{AskedLine, defaultPathLine(QStringLiteral("\"/default/path\"")),
                          StartedLine}));
    QCOMPARE(scriptedTools.startedPaths, QStringList{QStringLiteral("/default/path")});
    QCOMPARE(scriptedTools.defaultPathCalls, 1);
    QVERIFY(path.isEmpty());
}

void tst_ProxyStartup::givesUpAtOnceWhenTheStartFails()
{
    const TestProxy proxy;
    scriptedTools.startSucceeds = false;
    QSignalSpy rounds(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    const LogCapture log;
    QVERIFY(!proxy->startServer(QStringLiteral("/a/path")));
    QCOMPARE(linesOf(log),
             (QStringList{AskedLine, errorLine(QStringLiteral("\"/a/path\"")), FailedLine}));
    QCOMPARE(scriptedTools.checks(), 1);
    QCOMPARE(scriptedTools.startedPaths.size(), 1);
    QCOMPARE(rounds.size(), 0); // no wait
    QVERIFY(!proxy->isConnectedServer());
}

void tst_ProxyStartup::givesUpAtOnceWhenTheDefaultPathFails()
{
    const TestProxy proxy;
    scriptedTools.startSucceeds = false;
    scriptedTools.defaultPath = QString();
    const LogCapture log;
    QVERIFY(!proxy->startServer(QString()));
    QCOMPARE(linesOf(log),
             (QStringList{AskedLine, defaultPathLine(QStringLiteral("\"\"")),
                          errorLine(QStringLiteral("\"\"")), FailedLine}));
    QCOMPARE(scriptedTools.checks(), 1);
    QCOMPARE(scriptedTools.startedPaths, QStringList{QString()});
}

void tst_ProxyStartup::triesAgainInTheNextCall()
{
    const TestProxy proxy;
    scriptedTools.startSucceeds = false;
    QVERIFY(!proxy->startServer(QStringLiteral("/a/path")));
    scriptedTools.startSucceeds = true;
    scriptedTools.runningFromCheck = 3;
    QVERIFY(proxy->startServer(QStringLiteral("/a/path")));
    QCOMPARE(scriptedTools.startedPaths.size(), 2);
    QVERIFY(proxy->isConnectedServer());
}

void tst_ProxyStartup::servesEventsWhileItWaits()
{
    const TestProxy proxy;
    int served = 0;
    // The process appears because of an event: without events it never would.
    QTimer::singleShot(0, this, [&] {
        ++served;
        QTimer::singleShot(0, this, [&] {
            ++served;
            scriptedTools.runningFromCheck = 1;
        });
    });
    QVERIFY(proxy->startServer(QStringLiteral("/a/path")));
    QCOMPARE(served, 2);
    QCOMPARE(scriptedTools.startedPaths.size(), 1);
}

void tst_ProxyStartup::keepsTheLoopsRunningWhileItWaits()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(TestAccess::client(*proxy)->connectServer());
    QTimer observer;
    connect(&observer, &QTimer::timeout, this, [&] {
        if (peer.bodies() == QList<QByteArray>{"\5"})
            scriptedTools.runningFromCheck = 1;
    });
    observer.start(1);
    QTimer::singleShot(0, this, [&] { proxy->SendCommand(TarnEnum::CancelAllSends, QString()); });
    QVERIFY(proxy->startServer(QStringLiteral("/a/path")));
    QCOMPARE(peer.bodies(), QList<QByteArray>{"\5"});
}

void tst_ProxyStartup::canBeCalledFromAnEventThatItServes()
{
    const TestProxy proxy;
    bool inner = false;
    QTimer::singleShot(0, this, [&] {
        scriptedTools.runningFromCheck = 1;
        inner = proxy->startServer(QStringLiteral("/another/path"));
    });
    QVERIFY(proxy->startServer(QStringLiteral("/a/path")));
    QVERIFY(inner);
    QCOMPARE(scriptedTools.startedPaths, QStringList{QStringLiteral("/a/path")});
    QCOMPARE(scriptedTools.checks(), 3);
}

void tst_ProxyStartup::writesPathsAsTheLoggerDoes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("quoted");
    QTest::newRow("blanks") << QStringLiteral("/a b") << QStringLiteral("\"/a b\"");
    QTest::newRow("quotes") << QStringLiteral("/a\"b") << QStringLiteral("\"/a\\\"b\"");
    QTest::newRow("a backslash") << QStringLiteral("/a\\b") << QStringLiteral("\"/a\\\\b\"");
    QTest::newRow("beyond ASCII") << QStringLiteral("/\u00E9\u4E2D")
                                  << QStringLiteral("\"/\u00E9\u4E2D\"");
    QTest::newRow("a line end") << QStringLiteral("/a\nb") << QStringLiteral("\"/a\\nb\"");
}

void tst_ProxyStartup::writesPathsAsTheLoggerDoes()
{
    QFETCH(QString, path);
    QFETCH(QString, quoted);
    const TestProxy proxy;
    scriptedTools.startSucceeds = false;
    scriptedTools.defaultPath = path;
    const LogCapture log;
    QVERIFY(!proxy->startServer(QString()));
    QCOMPARE(linesOf(log),
             (QStringList{AskedLine, defaultPathLine(quoted), errorLine(quoted), FailedLine}));
    QCOMPARE(scriptedTools.startedPaths, QStringList{path});
}

void tst_ProxyStartup::startsByPathOnRequest()
{
    const TestProxy proxy;
    const LogCapture log;
    QVERIFY(proxy->execStartKVTServer(QStringLiteral("/a/path")));
    QCOMPARE(linesOf(log), QStringList{StartedLine});
    scriptedTools.startSucceeds = false;
    QVERIFY(!proxy->execStartKVTServer(QStringLiteral("/b/path")));
    QVERIFY(!proxy->execStartKVTServer(QString())); // no default here
    QCOMPARE(
        linesOf(log).mid(1),
        (QStringList{errorLine(QStringLiteral("\"/b/path\"")), errorLine(QStringLiteral("\"\""))}));
    QCOMPARE(scriptedTools.startedPaths,
             (QStringList{QStringLiteral("/a/path"), QStringLiteral("/b/path"), QString()}));
    QCOMPARE(scriptedTools.checks(), 0);
    QCOMPARE(scriptedTools.defaultPathCalls, 0);
    QVERIFY(!proxy->isConnectedServer());
}

void tst_ProxyStartup::neverStopsTheServer()
{
    const TestProxy proxy;
    const LogCapture log;
    QVERIFY(proxy->exitKVTServer());
    TestAccess::isConnected(*proxy) = true;
    QVERIFY(proxy->exitKVTServer());
    QVERIFY(proxy->isConnectedServer());
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(scriptedTools.checks(), 0);
    QVERIFY(proxy.sendQueue().isEmpty());
}

void tst_ProxyStartup::neverAsksWhetherTheServerRuns()
{
    const TestProxy proxy;
    scriptedTools.runningFromCheck = 1;
    QVERIFY(!proxy->isServerProcessRunning());
    proxy->creatMsgClient();
    QVERIFY(!proxy->isServerProcessRunning());
    QCOMPARE(scriptedTools.checks(), 0);
}

void tst_ProxyStartup::letsATimerDeleteTheProxyWhileItWaits()
{
    scriptedTools.runningFromCheck = 5;
    const QPointer<KVTServerMessageOldProxy> proxy(new KVTServerMessageOldProxy);
    QTimer::singleShot(0, proxy.data(), &QObject::deleteLater);
    QVERIFY(!proxy->startServer(QStringLiteral("/some/server")));
    QVERIFY(!proxy);
    QVERIFY(scriptedTools.checks() < 5);
}

KSPROXY_TEST_MAIN(tst_ProxyStartup)
#include "tst_ProxyStartup.moc"
