#include "CtlProcess.h"
#include "PlayedServer.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QTest>

/// Answers that the real server never gives.
class tst_CtlOddServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatWasReadBack_data();
    void saysWhatWasReadBack();
    void saysWhatTheDeviceAnswers_data();
    void saysWhatTheDeviceAnswers();
    void saysWhatDidNotConnect();
    void pingsOnAfterAFailure();

private:
    static void start(const QStringList &arguments, PlayedServer *server, CtlProcess *ctl);
};

void tst_CtlOddServer::start(const QStringList &arguments, PlayedServer *server, CtlProcess *ctl)
{
    QVERIFY(server->isListening());
    ctl->start(arguments);
    QTRY_VERIFY_WITH_TIMEOUT(server->isAsked(), WaitLimitMs);
    server->confirm();
}

void tst_CtlOddServer::saysWhatWasReadBack_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("errors");
    QTest::newRow("the same") << QByteArray("AQID") << 0 << QString();
    QTest::newRow("other bytes")
        << QByteArray("AQX/") << 9
        << QStringLiteral("ksproxyctl: What was read back at 0x00000011 is 05ff; 0203 was "
                          "written.\n");
    QTest::newRow("too few bytes")
        << QByteArray("AQI=") << 9
        << QStringLiteral("ksproxyctl: 2 bytes were read back, 3 were written.\n");
}

void tst_CtlOddServer::saysWhatWasReadBack()
{
    QFETCH(QByteArray, data);
    PlayedServer server;
    CtlProcess ctl;
    start({QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--hex=010203"),
           QStringLiteral("--address=0x10"), QStringLiteral("--verify")},
          &server, &ctl);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasWrite(), WaitLimitMs);
    server.answerWrite(0);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasRead(), WaitLimitMs);
    server.answerRead(0, data);
    QVERIFY(ctl.waitForEnd());
    QTEST(ctl.errors(), "errors");
    QTEST(ctl.exitCode(), "code");
}

void tst_CtlOddServer::saysWhatTheDeviceAnswers_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("code");
    QTest::newRow("less than was asked for") << 0 << QByteArray("AQ==") << 0;
    QTest::newRow("nothing in time") << 1 << QByteArray() << 7;
    QTest::newRow("no") << 2 << QByteArray() << 6;
    QTest::newRow("no such equipment") << 3 << QByteArray() << 5;
    QTest::newRow("what cannot be read") << 5 << QByteArray() << 1;
    QTest::newRow("that it was cancelled") << 6 << QByteArray() << 6;
    QTest::newRow("a result that nobody knows") << 77 << QByteArray() << 6;
}

void tst_CtlOddServer::saysWhatTheDeviceAnswers()
{
    QFETCH(int, result);
    QFETCH(QByteArray, data);
    PlayedServer server;
    CtlProcess ctl;
    start({QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--format=base64")},
          &server, &ctl);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasRead(), WaitLimitMs);
    server.answerRead(result, data);
    QVERIFY(ctl.waitForEnd());
    QTEST(ctl.exitCode(), "code");
    QCOMPARE(ctl.output(), data.isEmpty() ? QByteArray() : data + '\n');
    QCOMPARE(ctl.errors().count(QLatin1Char('\n')), data.isEmpty() ? 1 : 0);
}

void tst_CtlOddServer::saysWhatDidNotConnect()
{
    PlayedServer server;
    CtlProcess ctl;
    start({QStringLiteral("connect"), QStringLiteral("COM1"), QStringLiteral("--timeout=1000")},
          &server, &ctl);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasWrite(), WaitLimitMs);
    server.answerWrite(0);
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.errors(), QStringLiteral("ksproxyctl: Not connected in time: COM1.\n"));
    QCOMPARE(ctl.exitCode(), 7);
}

void tst_CtlOddServer::pingsOnAfterAFailure()
{
    PlayedServer server;
    CtlProcess ctl;
    start({QStringLiteral("ping"), QStringLiteral("COM1"), QStringLiteral("--count=2"),
           QStringLiteral("--timeout=1000")},
          &server, &ctl);
    QTRY_VERIFY_WITH_TIMEOUT(server.hasWrite(), WaitLimitMs);
    server.answerWrite(2);
    QVERIFY(ctl.waitForEnd());
    QCOMPARE(ctl.output(), QByteArray("2 requests, 2 failed\n"));
    QCOMPARE(ctl.exitCode(), 7); // that of the last
}

KSPROXY_TEST_MAIN(tst_CtlOddServer)
#include "tst_CtlOddServer.moc"
