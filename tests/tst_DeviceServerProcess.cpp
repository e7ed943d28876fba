#include "NamedPipe.h"
#include "RawClient.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QFile>
#include <QTest>

#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

namespace {

QString socketPath()
{
    return testFolder() + QLatin1String("/tarnSver");
}

} // namespace

class tst_DeviceServerProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysGoodbyeWhenTerminated_data();
    void saysGoodbyeWhenTerminated();
    void survivesTheLossOfItsOutput();
    void startsWithoutStandardStreams();
    void endsWhenIdle();
    void staysWhileAClientIsConnected();
    void refusesBadOptions_data();
    void refusesBadOptions();
    void refusesABadConfiguration();
    void printsWhatIsAskedFor();
    void saysEachMessageWhenVerbose();
};

void tst_DeviceServerProcess::saysGoodbyeWhenTerminated_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_DeviceServerProcess::saysGoodbyeWhenTerminated()
{
    QFETCH(int, number);
    ServerProcess server;
    QVERIFY(server.start());
    RawClient registered;
    RawClient unregistered;
    QVERIFY(registered.registerAtServer());
    QVERIFY(unregistered.connectToServer());
    server.sendSignal(number);
    QTRY_VERIFY_WITH_TIMEOUT(!registered.isConnected() && !unregistered.isConnected(), WaitLimitMs);
    QCOMPARE(registered.ids(), (QList<int>{0, 1}));
    QCOMPARE(unregistered.ids(), QList<int>{1});
    QVERIFY(server.waitForEnd());
    QVERIFY(!server.hasCrashed());
    QCOMPARE(server.exitCode(), 0);
    QVERIFY(!QFile::exists(socketPath()));
    QVERIFY(!QFile::exists(socketPath() + QLatin1String(".lock")));
}

void tst_DeviceServerProcess::survivesTheLossOfItsOutput()
{
    NamedPipe errors;
    ServerProcess server;
    server.sendErrorsTo(errors.fileName());
    QVERIFY(server.start());
    RawClient client;
    QVERIFY(client.registerAtServer());
    client.send(14, "an order, which is logged");
    QTRY_VERIFY_WITH_TIMEOUT(errors.isFilled(), WaitLimitMs);
    errors.closeReader();
    for (int i = 0; i < 3; ++i)
        client.send(14, "an order, which is logged");
    client.send(14, "identify");
    QTRY_COMPARE_WITH_TIMEOUT(client.count(18), 1, WaitLimitMs);
    QVERIFY(server.isRunning());
}

// The sockets and the lock file would get the numbers of the closed streams.
void tst_DeviceServerProcess::startsWithoutStandardStreams()
{
    const QString program = testFolder() + QLatin1String("/streamless");
    QVERIFY(QFile::link(QStringLiteral(KSPROXY_SERVER_PROGRAM), program));
    QProcess server;
    server.start(
        QStringLiteral("bash"),
        {QStringLiteral("-c"), QStringLiteral("exec \"$0\" --verbose <&- >&- 2>&-"), program});
    QVERIFY(server.waitForStarted(WaitLimitMs));
    RawClient client;
    QTRY_VERIFY_WITH_TIMEOUT(client.connectToServer(), WaitLimitMs);
    QVERIFY(client.registerAtServer());
    QFile lock(socketPath() + QLatin1String(".lock"));
    QVERIFY(lock.open(QIODevice::ReadOnly));
    QCOMPARE(lock.readLine().trimmed(), QByteArray::number(server.processId()));
    const QByteArray rest = lock.readAll();
    QVERIFY2(!rest.contains("client"), rest.constData()); // what it says of each message
    server.terminate();
    QVERIFY(server.waitForFinished(WaitLimitMs));
    QCOMPARE(server.exitCode(), 0);
}

void tst_DeviceServerProcess::endsWhenIdle()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--exit-when-idle"), QStringLiteral("1")}));
    QVERIFY(server.waitForEnd());
    QVERIFY(!server.hasCrashed());
    QCOMPARE(server.exitCode(), 0);
    QVERIFY(!QFile::exists(socketPath()));
}

void tst_DeviceServerProcess::staysWhileAClientIsConnected()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--exit-when-idle"), QStringLiteral("1")}));
    RawClient client;
    QVERIFY(client.connectToServer());
    // A heartbeat comes after three seconds, long after the idle time.
    QTRY_VERIFY_WITH_TIMEOUT(client.count(4) >= 1, WaitLimitMs);
    QVERIFY(server.isRunning());
    client.socket().disconnectFromServer();
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 0);
}

void tst_DeviceServerProcess::refusesBadOptions_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("value");
    QTest::newRow("unknown option") << QStringLiteral("--nonsense") << QString();
    QTest::newRow("stray argument") << QStringLiteral("stray") << QString();
    QTest::newRow("latency not a number") << QStringLiteral("--latency") << QStringLiteral("soon");
    QTest::newRow("negative latency") << QStringLiteral("--latency") << QStringLiteral("-1");
    QTest::newRow("latency too long") << QStringLiteral("--latency") << QStringLiteral("99999999");
    QTest::newRow("latency missing") << QStringLiteral("--latency") << QString();
    QTest::newRow("unknown answer") << QStringLiteral("--register") << QStringLiteral("maybe");
    QTest::newRow("no idle time") << QStringLiteral("--exit-when-idle") << QStringLiteral("0");
    QTest::newRow("idle not a number")
        << QStringLiteral("--exit-when-idle") << QStringLiteral("1.5");
    QTest::newRow("no file name") << QStringLiteral("--config") << QStringLiteral("");
    QTest::newRow("no scenario name") << QStringLiteral("--scenario") << QStringLiteral("");
    QTest::newRow("no control name") << QStringLiteral("--control") << QStringLiteral("");
}

void tst_DeviceServerProcess::refusesBadOptions()
{
    QFETCH(QString, option);
    QFETCH(QString, value);
    QStringList arguments{option};
    if (!value.isNull())
        arguments.append(value);
    ServerProcess server;
    QVERIFY(!server.start(arguments));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 2);
    const QString name = option.startsWith(QLatin1String("--")) ? option.mid(2) : option;
    QVERIFY2(server.errors().contains(name), qPrintable(server.errors()));
    QVERIFY2(server.errors().contains(value), qPrintable(server.errors()));
    QVERIFY(!QFile::exists(socketPath()));
}

void tst_DeviceServerProcess::refusesABadConfiguration()
{
    const QString config = testFolder() + QLatin1String("/bad.json");
    QFile file(config);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(R"({"equipment":[{"key":"a","kind":"controller","memory":0}]})");
    file.close();
    for (const QString &name : {config, testFolder() + QLatin1String("/missing.json")}) {
        ServerProcess server;
        QVERIFY(!server.start({QStringLiteral("--config"), name}));
        QVERIFY(server.waitForEnd());
        QCOMPARE(server.exitCode(), 2);
        QVERIFY2(server.errors().contains(name), qPrintable(server.errors()));
        QCOMPARE(server.errors().contains(QLatin1String("equipment[0].memory")), name == config);
    }
}

void tst_DeviceServerProcess::printsWhatIsAskedFor()
{
    ServerProcess server;
    server.launch({QStringLiteral("--version")});
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 0);
    QCOMPARE(server.output(), QStringLiteral("KVTServerMaster " KSPROXY_VERSION "\n"));
    ServerProcess helper;
    helper.launch({QStringLiteral("--help")});
    QVERIFY(helper.waitForEnd());
    QCOMPARE(helper.exitCode(), 0);
    for (const char *option : {"--config", "--scenario", "--control", "--latency", "--register",
                               "--exit-when-idle", "--verbose", "--version", "--help"})
        QVERIFY2(helper.output().contains(QLatin1String(option)), option);
}

void tst_DeviceServerProcess::saysEachMessageWhenVerbose()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--verbose")}));
    RawClient client;
    QVERIFY(client.registerAtServer());
    QTRY_VERIFY_WITH_TIMEOUT(server.errors().contains(QLatin1String("from client 1: 0 \"\"")),
                             WaitLimitMs);
    QVERIFY(server.errors().contains(QLatin1String("to client 1: 0 \"COM1/1/")));
}

KSPROXY_TEST_MAIN(tst_DeviceServerProcess)
#include "tst_DeviceServerProcess.moc"
