#include "NamedPipe.h"
#include "RawClient.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QTest>

#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
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
    void saysWhereItListens();
    void listensForThisUserOnly();
    void saysGoodbyeWhenTerminated_data();
    void saysGoodbyeWhenTerminated();
    void replacesWhatACrashLeftBehind();
    void replacesALockThatNamesNobody();
    void leavesALockThatIsHeld();
    void refusesToDisplaceALivingServer();
    void refusesToDisplaceAServerWithoutALock();
    void refusesToReplaceWhatIsNotASocket();
    void leavesAnotherServersSocketAlone();
    void survivesTheLossOfItsOutput();
    void startsWithoutStandardStreams();
    void endsWhenIdle();
    void staysWhileAClientIsConnected();
    void refusesBadOptions_data();
    void refusesBadOptions();
    void refusesABadConfiguration();
    void refusesAnUnusableFolder_data();
    void refusesAnUnusableFolder();
    void printsWhatIsAskedFor();
    void saysEachMessageWhenVerbose();
    void servesManyClients();
    void servesOthersWhenAClientVanishes();
    void servesAClientThatAsksForMuchAtOnce();
    void dropsAClientThatDoesNotRead();
    void keepsItsMemoryWhenMuchWaits();
    void survivesRunningOutOfDescriptors();
};

void tst_DeviceServerProcess::saysWhereItListens()
{
    ServerProcess server;
    QVERIFY(server.start());
    QCOMPARE(server.output(), QStringLiteral("listening %1\n").arg(socketPath()));
    QCOMPARE(server.errors(), QString());
}

void tst_DeviceServerProcess::listensForThisUserOnly()
{
    ServerProcess server;
    QVERIFY(server.start());
    const QFile::Permissions permissions = QFileInfo(socketPath()).permissions();
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup
        | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(permissions & others, QFile::Permissions());
    QVERIFY(permissions & QFile::WriteOwner);
}

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

void tst_DeviceServerProcess::replacesWhatACrashLeftBehind()
{
    ServerProcess server;
    QVERIFY(server.start());
    server.kill();
    QVERIFY(server.waitForEnd());
    QVERIFY(QFile::exists(socketPath()));
    QVERIFY(QFile::exists(socketPath() + QLatin1String(".lock")));
    QVERIFY2(server.start(), qPrintable(server.errors()));
    RawClient client;
    QVERIFY(client.registerAtServer());
}

void tst_DeviceServerProcess::replacesALockThatNamesNobody()
{
    QFile lock(socketPath() + QLatin1String(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.close();
    ServerProcess server;
    QVERIFY2(server.start(), qPrintable(server.errors()));
}

void tst_DeviceServerProcess::leavesALockThatIsHeld()
{
    QFile lock(socketPath() + QLatin1String(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    QCOMPARE(flock(lock.handle(), LOCK_EX), 0);
    ServerProcess server;
    QVERIFY(!server.start());
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 3);
    QVERIFY(lock.remove());
}

void tst_DeviceServerProcess::refusesToDisplaceALivingServer()
{
    ServerProcess first;
    QVERIFY(first.start());
    RawClient client;
    QVERIFY(client.registerAtServer());
    ServerProcess second;
    QVERIFY(!second.start());
    QVERIFY(second.waitForEnd());
    QCOMPARE(second.exitCode(), 3);
    QVERIFY2(second.errors().contains(QStringLiteral("process %1").arg(first.pid())),
             qPrintable(second.errors()));
    QVERIFY(second.errors().contains(socketPath()));
    QCOMPARE(second.output(), QString());
    RawClient later;
    QVERIFY(later.registerAtServer());
    QVERIFY(client.isConnected());
}

void tst_DeviceServerProcess::refusesToDisplaceAServerWithoutALock()
{
    QLocalServer::removeServer(QStringLiteral("tarnSver")); // what an earlier test left behind
    QLocalServer foreign;
    QVERIFY(foreign.listen(QStringLiteral("tarnSver")));
    ServerProcess server;
    QVERIFY(!server.start());
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 3);
    QVERIFY2(server.errors().contains(
                 QStringLiteral("process %1").arg(QCoreApplication::applicationPid())),
             qPrintable(server.errors()));
    RawClient client;
    QVERIFY(client.connectToServer());
    QTRY_VERIFY_WITH_TIMEOUT(foreign.hasPendingConnections(), WaitLimitMs);
}

void tst_DeviceServerProcess::refusesToReplaceWhatIsNotASocket()
{
    QFile::remove(socketPath());
    QFile file(socketPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    ServerProcess server;
    QVERIFY(!server.start());
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 1);
    QVERIFY2(server.errors().contains(QLatin1String("is not a socket")),
             qPrintable(server.errors()));
    QCOMPARE(file.size(), qint64(8));
    QVERIFY(file.remove());
}

void tst_DeviceServerProcess::leavesAnotherServersSocketAlone()
{
    ServerProcess server;
    QVERIFY(server.start());
    QVERIFY(QFile::remove(socketPath()));
    QLocalServer foreign;
    QVERIFY(foreign.listen(QStringLiteral("tarnSver")));
    server.terminate();
    QVERIFY(server.waitForEnd());
    QVERIFY(QFile::exists(socketPath()));
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

void tst_DeviceServerProcess::refusesAnUnusableFolder_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("a file") << testFolder() + QLatin1String("/file");
    QTest::newRow("name too long")
        << testFolder() + QLatin1Char('/') + QString(120, QLatin1Char('x'));
}

void tst_DeviceServerProcess::refusesAnUnusableFolder()
{
    QFETCH(QString, folder);
    const QByteArray previous = qgetenv("TMPDIR");
    ServerProcess server;
    QFile file(folder);
    QVERIFY(folder.endsWith(QLatin1String("/file")) ? file.open(QIODevice::WriteOnly)
                                                    : QDir().mkpath(folder));
    qputenv("TMPDIR", folder.toLocal8Bit());
    const bool isStarted = server.start();
    qputenv("TMPDIR", previous);
    QVERIFY(!isStarted);
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 1);
    QVERIFY2(server.errors().contains(folder), qPrintable(server.errors()));
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

void tst_DeviceServerProcess::servesManyClients()
{
    ServerProcess server;
    QVERIFY(server.start());
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 50; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->registerAtServer());
    }
    clients.front()->send(14, "identify");
    for (const auto &client : clients)
        QTRY_COMPARE_WITH_TIMEOUT(client->count(18), 1, WaitLimitMs);
}

void tst_DeviceServerProcess::servesOthersWhenAClientVanishes()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--latency"), QStringLiteral("20")}));
    RawClient staying;
    QVERIFY(staying.registerAtServer());
    const QByteArray request("serialNum=1;serverConnectionKey=COM1;readLength=100");
    const QByteArray stream = WireBytes::message(0) + WireBytes::message(7, request);
    for (int sent = 0; sent <= stream.size(); ++sent) {
        RawClient vanishing;
        QVERIFY(vanishing.connectToServer());
        vanishing.sendBytes(stream.left(sent));
        vanishing.socket().abort();
    }
    staying.send(7, request);
    QTRY_COMPARE_WITH_TIMEOUT(staying.count(11), 1, WaitLimitMs);
    QVERIFY(server.isRunning());
}

void tst_DeviceServerProcess::servesAClientThatAsksForMuchAtOnce()
{
    ServerProcess server;
    QVERIFY(server.start());
    RawClient client;
    QVERIFY(client.connectToServer());
    constexpr int count = 900; // 65,536 bytes become 87,384 characters each: 75 MiB of replies
    QByteArray requests;
    for (int i = 0; i < count; ++i)
        requests += WireBytes::message(7, "serialNum=1;serverConnectionKey=COM1;readLength=65536");
    client.sendBytes(requests);
    QTRY_VERIFY_WITH_TIMEOUT(client.receivedBytes() > count * 87384, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(client.count(11), count, WaitLimitMs);
    QVERIFY(client.isConnected());
}

void tst_DeviceServerProcess::dropsAClientThatDoesNotRead()
{
    ServerProcess server;
    QVERIFY(server.start());
    // A bare socket: a Qt socket would read ahead by itself.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, socketPath().toLocal8Bit().constData(), sizeof address.sun_path);
    const int stubborn = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QCOMPARE(::connect(stubborn, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const QByteArray registration = WireBytes::message(0);
    QCOMPARE(::send(stubborn, registration.constData(), size_t(registration.size()), 0),
             ssize_t(registration.size()));
    RawClient writer;
    QVERIFY(writer.registerAtServer());
    const QByteArray request = WireBytes::message(
        10, "serialNum=1;serverConnectionKey=COM1;data=" + QByteArray(60000, 'x').toBase64());
    for (int i = 0; i < 900; ++i) // each becomes a broadcast of over 80,000 bytes: 68 MiB
        writer.sendBytes(request);
    QTRY_VERIFY_WITH_TIMEOUT(
        server.errors().contains(QLatin1String("does not read and is dropped")), WaitLimitMs);
    ::close(stubborn);
    QTRY_COMPARE_WITH_TIMEOUT(writer.count(14), 900, WaitLimitMs);
}

void tst_DeviceServerProcess::keepsItsMemoryWhenMuchWaits()
{
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--latency"), QStringLiteral("600000")}));
    RawClient client;
    QVERIFY(client.connectToServer());
    const QByteArray request
        = WireBytes::message(10, "serialNum=1;data=" + QByteArray(3000000, 'x').toBase64());
    for (int i = 0; i < 40; ++i) // 160 MB
        client.sendBytes(request);
    // The server stops reading, so what it has not read stays with the client.
    RawClient other;
    QVERIFY(other.registerAtServer());
    QTRY_VERIFY_WITH_TIMEOUT(other.count(4) >= 1, WaitLimitMs);
    QVERIFY(client.isConnected());
    QVERIFY(client.socket().bytesToWrite() > 100 * 1000 * 1000);
}

void tst_DeviceServerProcess::survivesRunningOutOfDescriptors()
{
    ServerProcess server;
    QVERIFY(server.start());
    const rlimit limit{32, 32};
    QCOMPARE(prlimit(static_cast<pid_t>(server.pid()), RLIMIT_NOFILE, &limit, nullptr), 0);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 40; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectToServer()); // queued, if not yet accepted
        clients.back()->send(0);
    }
    QTRY_VERIFY_WITH_TIMEOUT(server.errors().contains(QLatin1String("has to wait")), WaitLimitMs);
    QVERIFY(server.isRunning());
    QTRY_COMPARE_WITH_TIMEOUT(clients.front()->count(0), 1, WaitLimitMs);
    const auto last = std::move(clients.back());
    QCOMPARE(last->count(0), 0);
    clients.clear();
    QTRY_COMPARE_WITH_TIMEOUT(last->count(0), 1, WaitLimitMs);
}

KSPROXY_TEST_MAIN(tst_DeviceServerProcess)
#include "tst_DeviceServerProcess.moc"
