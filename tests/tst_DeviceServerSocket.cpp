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
#include <unistd.h>

namespace {

QString socketPath()
{
    return testFolder() + QLatin1String("/tarnSver");
}

} // namespace

/// The socket and the lock of the real server program: whose they are, and what is left of them.
class tst_DeviceServerSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhereItListens();
    void listensForThisUserOnly();
    void replacesWhatACrashLeftBehind();
    void replacesALockThatNamesNobody();
    void leavesALockThatIsHeld();
    void refusesToDisplaceALivingServer();
    void refusesToDisplaceAServerWithoutALock();
    void refusesToReplaceWhatIsNotASocket();
    void leavesAnotherServersSocketAlone();
    void refusesAnUnusableFolder_data();
    void refusesAnUnusableFolder();
};

void tst_DeviceServerSocket::saysWhereItListens()
{
    ServerProcess server;
    QVERIFY(server.start());
    QCOMPARE(server.output(), QStringLiteral("listening %1\n").arg(socketPath()));
    QCOMPARE(server.errors(), QString());
}

void tst_DeviceServerSocket::listensForThisUserOnly()
{
    ServerProcess server;
    QVERIFY(server.start());
    const QFile::Permissions permissions = QFileInfo(socketPath()).permissions();
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup
        | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(permissions & others, QFile::Permissions());
    QVERIFY(permissions & QFile::WriteOwner);
}

void tst_DeviceServerSocket::replacesWhatACrashLeftBehind()
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

void tst_DeviceServerSocket::replacesALockThatNamesNobody()
{
    QFile lock(socketPath() + QLatin1String(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.close();
    ServerProcess server;
    QVERIFY2(server.start(), qPrintable(server.errors()));
}

void tst_DeviceServerSocket::leavesALockThatIsHeld()
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

void tst_DeviceServerSocket::refusesToDisplaceALivingServer()
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

void tst_DeviceServerSocket::refusesToDisplaceAServerWithoutALock()
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

void tst_DeviceServerSocket::refusesToReplaceWhatIsNotASocket()
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

void tst_DeviceServerSocket::leavesAnotherServersSocketAlone()
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

void tst_DeviceServerSocket::refusesAnUnusableFolder_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("a file") << testFolder() + QLatin1String("/file");
    QTest::newRow("name too long")
        << testFolder() + QLatin1Char('/') + QString(120, QLatin1Char('x'));
}

void tst_DeviceServerSocket::refusesAnUnusableFolder()
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

KSPROXY_TEST_MAIN(tst_DeviceServerSocket)
#include "tst_DeviceServerSocket.moc"
