#include "RawClient.h"
#include "ServerProcess.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QTest>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QString socketPath()
{
    return testFolder() + QLatin1String("/tarnSver");
}

} // namespace

/// The real server program with many clients, greedy ones, and too few descriptors.
class tst_DeviceServerLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesManyClients();
    void servesOthersWhenAClientVanishes();
    void servesAClientThatAsksForMuchAtOnce();
    void dropsAClientThatDoesNotRead();
    void keepsItsMemoryWhenMuchWaits();
    void survivesRunningOutOfDescriptors();
};

void tst_DeviceServerLoad::servesManyClients()
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

void tst_DeviceServerLoad::servesOthersWhenAClientVanishes()
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

void tst_DeviceServerLoad::servesAClientThatAsksForMuchAtOnce()
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

void tst_DeviceServerLoad::dropsAClientThatDoesNotRead()
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

void tst_DeviceServerLoad::keepsItsMemoryWhenMuchWaits()
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

void tst_DeviceServerLoad::survivesRunningOutOfDescriptors()
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

KSPROXY_TEST_MAIN(tst_DeviceServerLoad)
#include "tst_DeviceServerLoad.moc"
