#include "CtlProcess.h"
#include "KsProxyTools.h"
#include "NamedServer.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QTest>

namespace {

qint64 serverPid()
{
    unsigned long long pid = 0;
    KsProxyTools::checkProcessRunning(QStringLiteral("KVTServerMaster"), pid);
    return static_cast<qint64>(pid);
}

} // namespace

/// Whether ksproxyctl starts a server, and when. It looks for one by its process name, so no other
/// may run on this machine meanwhile.
class tst_CtlServerStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsTheServer();
    void startsTheServerInJson();
    void startsNoSecondServer();
    void startsTheServerThatItIsTold();
    void saysThatTheServerCannotBeStarted_data();
    void saysThatTheServerCannotBeStarted();
    void startsNoServerWhenItMustNot_data();
    void startsNoServerWhenItMustNot();
    void startsTheServerForAnyVerb();
    void saysTheServersProcessId();

private:
    void launch(const QStringList &arguments);

    CtlProcess m_ctl;
};

void tst_CtlServerStart::init()
{
    QVERIFY2(!NamedServer::isRunning(),
             "a device server is running on this machine: stop it first");
}

void tst_CtlServerStart::cleanup()
{
    QVERIFY(NamedServer::stop());
}

void tst_CtlServerStart::launch(const QStringList &arguments)
{
    m_ctl.launch(arguments);
    QVERIFY(m_ctl.waitForEnd());
}

void tst_CtlServerStart::startsTheServer()
{
    launch({QStringLiteral("server"), QStringLiteral("start")});
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(NamedServer::isRunning()); // it outlives the program
    QCOMPARE(m_ctl.output(),
             QStringLiteral("Server process %1 has been started.\n").arg(serverPid()).toLatin1());
    QCOMPARE(m_ctl.errors(), QString());
}

void tst_CtlServerStart::startsTheServerInJson()
{
    launch({QStringLiteral("server"), QStringLiteral("start"), QStringLiteral("--json")});
    QCOMPARE(m_ctl.exitCode(), 0);
    const QJsonObject expected{{QStringLiteral("pid"), serverPid()},
                               {QStringLiteral("started"), true},
                               {QStringLiteral("version"), QStringLiteral(KSPROXY_VERSION)}};
    QCOMPARE(m_ctl.json(), expected);
}

void tst_CtlServerStart::startsNoSecondServer()
{
    launch({QStringLiteral("server"), QStringLiteral("start")});
    const qint64 pid = serverPid();
    launch({QStringLiteral("server"), QStringLiteral("start")});
    QCOMPARE(m_ctl.exitCode(), 0);
    QCOMPARE(m_ctl.output(),
             QStringLiteral("Server process %1 was running already.\n").arg(pid).toLatin1());
    QCOMPARE(serverPid(), pid);
}

void tst_CtlServerStart::startsTheServerThatItIsTold()
{
    launch({QStringLiteral("server"), QStringLiteral("start"), QStringLiteral("--server"),
            QStringLiteral(KSPROXY_SERVER_PROGRAM)});
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(NamedServer::isRunning());
}

void tst_CtlServerStart::saysThatTheServerCannotBeStarted_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("the start itself")
        << QStringList{QStringLiteral("server"), QStringLiteral("start")};
    QTest::newRow("another verb") << QStringList{QStringLiteral("list")};
}

void tst_CtlServerStart::saysThatTheServerCannotBeStarted()
{
    QFETCH(QStringList, arguments);
    launch(arguments + QStringList{QStringLiteral("--server"), QStringLiteral("/no/such/server")});
    QCOMPARE(m_ctl.exitCode(), 3);
    QVERIFY2(m_ctl.errors().startsWith(QLatin1String("ksproxyctl: ")), qPrintable(m_ctl.errors()));
    QVERIFY2(m_ctl.errors().contains(QLatin1String("/no/such/server")), qPrintable(m_ctl.errors()));
    QCOMPARE(m_ctl.output(), QByteArray());
    QVERIFY(!NamedServer::isRunning());
}

void tst_CtlServerStart::startsNoServerWhenItMustNot_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("status") << QStringList{QStringLiteral("status")};
    QTest::newRow("the keys for a completion") << QStringList{
        QStringLiteral("list"),    QStringLiteral("--keys"),    QStringLiteral("--no-start"),
        QStringLiteral("--quiet"), QStringLiteral("--timeout"), QStringLiteral("500")};
    QTest::newRow("the start itself, forbidden") << QStringList{
        QStringLiteral("server"), QStringLiteral("start"), QStringLiteral("--no-start")};
}

void tst_CtlServerStart::startsNoServerWhenItMustNot()
{
    QFETCH(QStringList, arguments);
    launch(arguments);
    QCOMPARE(m_ctl.exitCode(), 3);
    QVERIFY(!NamedServer::isRunning());
}

void tst_CtlServerStart::startsTheServerForAnyVerb()
{
    launch({QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--length=1")});
    QVERIFY2(m_ctl.exitCode() == 0, qPrintable(m_ctl.errors()));
    QVERIFY(m_ctl.output().startsWith("00000000  00 "));
    QVERIFY(NamedServer::isRunning());
}

void tst_CtlServerStart::saysTheServersProcessId()
{
    launch({QStringLiteral("server"), QStringLiteral("start")});
    launch({QStringLiteral("status")});
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY2(m_ctl.output().startsWith(
                 QStringLiteral("process       running, %1\n").arg(serverPid()).toLatin1()),
             m_ctl.output().constData());
    launch({QStringLiteral("status"), QStringLiteral("--json")});
    QCOMPARE(m_ctl.json().value(QLatin1String("pid")), QJsonValue(serverPid()));
}

KSPROXY_TEST_MAIN(tst_CtlServerStart)
#include "tst_CtlServerStart.moc"
