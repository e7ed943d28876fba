#include "LogCapture.h"
#include "PackageRequestCombination.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteFile.h"
#include "PackageRequestWriteMemData.h"
#include "SpecialPackageRequest.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"

#include <QTest>

using Operation = bool (*)(KVTServerMessageOldProxy &);
Q_DECLARE_METATYPE(Operation)

/// The operations of the interface that this proxy answers with a log line and a fixed result.
class tst_ProxyUnsupported : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logsAndReturnsItsFixedResult_data();
    void logsAndReturnsItsFixedResult();
    void answersASpecialPackageWhenRegistered_data();
    void answersASpecialPackageWhenRegistered();
    void refusesASpecialPackageSilentlyWhenNotRegistered_data();
    void refusesASpecialPackageSilentlyWhenNotRegistered();
    void leavesThePackageAlone();
    void saysAboutTheServerProcessOnlyWithAClient();
    void saysThatItHasNoTimeOut();
};

void tst_ProxyUnsupported::logsAndReturnsItsFixedResult_data()
{
    using Proxy = KVTServerMessageOldProxy;
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("result");
    QTest::newRow("SendRequestReadFile")
        << Operation([](Proxy &proxy) { return proxy.SendRequestReadFile(nullptr); })
        << QStringLiteral("KVTServerMessageOldProxy::SendRequestReadFile not support") << false;
    QTest::newRow("SendRequestReadMemData")
        << Operation([](Proxy &proxy) { return proxy.SendRequestReadMemData(nullptr); })
        << QStringLiteral("KVTServerMessageOldProxy::SendRequestReadMemData not support") << false;
    QTest::newRow("SendRequestWriteFile")
        << Operation([](Proxy &proxy) { return proxy.SendRequestWriteFile(nullptr); })
        << QStringLiteral("KVTServerMessageOldProxy::SendRequestWriteFile not support") << false;
    QTest::newRow("SendRequestWriteMemData") << Operation([](Proxy &proxy) {
        return proxy.SendRequestWriteMemData(PackageRequestWriteMemData());
    }) << QStringLiteral("KVTServerMessageOldProxy::SendRequestWriteMemData not support")
                                             << false;
    QTest::newRow("SendCombinationRequest") << Operation([](Proxy &proxy) {
        return proxy.SendCombinationRequest(PackageRequestCombination());
    }) << QStringLiteral("KVTServerMessageOldProxy::SendCombinationRequest not support")
                                            << false;
    QTest::newRow("changebaudRate") << Operation([](Proxy &proxy) {
        return proxy.changebaudRate(QStringLiteral("COM1"), 9600);
    }) << QStringLiteral("KVTServerMessageOldProxy::changebaudRate not support")
                                    << true;
    QTest::newRow("sendPacketData") << Operation([](Proxy &proxy) {
        proxy.sendPacketData("data", 4);
        return true; // it has no result
    }) << QStringLiteral("KVTServerMessageOldProxy::sendPacketData not support")
                                    << true;
}

void tst_ProxyUnsupported::logsAndReturnsItsFixedResult()
{
    QFETCH(Operation, operation);
    QFETCH(QString, text);
    QFETCH(bool, result);
    const TestProxy proxy;
    for (const bool isRegistered : {false, true}) {
        proxy->setRegisted(isRegistered);
        const LogCapture log;
        QCOMPARE(operation(*proxy), result);
        QCOMPARE(log.count(QtCriticalMsg, text), 1);
        QCOMPARE(log.lines().size(), 1);
        QVERIFY(proxy.sendQueue().isEmpty());
        QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    }
}

void tst_ProxyUnsupported::answersASpecialPackageWhenRegistered_data()
{
    QTest::addColumn<bool>("isStart");
    QTest::addColumn<QString>("text");
    QTest::newRow("start") << true
                           << QStringLiteral("KVTServerMessageOldProxy::"
                                             "SendStartRequestSpecialPacke not support");
    QTest::newRow("end") << false
                         << QStringLiteral("KVTServerMessageOldProxy::"
                                           "SendEndRequestSpecialPacke not support");
}

void tst_ProxyUnsupported::answersASpecialPackageWhenRegistered()
{
    QFETCH(bool, isStart);
    QFETCH(QString, text);
    const TestProxy proxy;
    proxy->setRegisted(true);
    SpecialPackageRequest package;
    package.setOrder("order");
    int result = 7;
    const LogCapture log;
    QVERIFY(isStart ? proxy->SendStartRequestSpecialPacke(&package, &result)
                    : proxy->SendEndRequestSpecialPacke(&package, &result));
    QCOMPARE(result, 1);
    QVERIFY(isStart ? proxy->SendStartRequestSpecialPacke(nullptr, nullptr)
                    : proxy->SendEndRequestSpecialPacke(nullptr, nullptr));
    QCOMPARE(log.count(QtCriticalMsg, text), 2);
    QCOMPARE(log.lines().size(), 2);
    QVERIFY(proxy.sendQueue().isEmpty());
}

void tst_ProxyUnsupported::refusesASpecialPackageSilentlyWhenNotRegistered_data()
{
    QTest::addColumn<bool>("isStart");
    QTest::newRow("start") << true;
    QTest::newRow("end") << false;
}

void tst_ProxyUnsupported::refusesASpecialPackageSilentlyWhenNotRegistered()
{
    QFETCH(bool, isStart);
    const TestProxy proxy;
    SpecialPackageRequest package;
    int result = 7;
    const LogCapture log;
    QVERIFY(!(isStart ? proxy->SendStartRequestSpecialPacke(&package, &result)
                      : proxy->SendEndRequestSpecialPacke(&package, &result)));
    QCOMPARE(result, 7);
    QVERIFY(log.lines().isEmpty());
    QVERIFY(proxy.sendQueue().isEmpty());
}

void tst_ProxyUnsupported::leavesThePackageAlone()
{
    int destructions = 0;
    int completions = 0;
    {
        const TestProxy proxy;
        proxy->setRegisted(true);
        CountedPackage<PackageRequestReadFile> readFile(&destructions);
        CountedPackage<PackageRequestReadMemData> readMemory(&destructions);
        CountedPackage<PackageRequestWriteFile> writeFile(&destructions);
        CountedPackage<SpecialPackageRequest> special(&destructions);
        PackageRequestWriteMemData writeMemory;
        const QList<PackageBase *> packages
            = {&readFile, &readMemory, &writeFile, &special, &writeMemory};
        for (PackageBase *const package : packages)
            package->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
        int result = 0;
        const LogCapture log;
        QVERIFY(!proxy->SendRequestReadFile(&readFile));
        QVERIFY(!proxy->SendRequestReadMemData(&readMemory));
        QVERIFY(!proxy->SendRequestWriteFile(&writeFile));
        QVERIFY(!proxy->SendRequestWriteMemData(writeMemory));
        QVERIFY(proxy->SendStartRequestSpecialPacke(&special, &result));
        QVERIFY(proxy->SendEndRequestSpecialPacke(&special, &result));
        QCOMPARE(log.texts(QtCriticalMsg).size(), 6);
        proxy->Terminate();
        QCOMPARE(destructions, 0);
        QCOMPARE(completions, 0);
        for (const PackageBase *const package : packages)
            QCOMPARE(package->getCommResult(), TarnEnum::Success);
    }
    QCOMPARE(destructions, 4);
}

void tst_ProxyUnsupported::saysAboutTheServerProcessOnlyWithAClient()
{
    const TestProxy proxy;
    const LogCapture log;
    QVERIFY(!proxy->isServerProcessRunning());
    QVERIFY(log.lines().isEmpty());
    proxy->creatMsgClient();
    TestAccess::isConnected(*proxy) = true;
    QVERIFY(!proxy->isServerProcessRunning());
    QCOMPARE(
        log.count(QtCriticalMsg,
                  QStringLiteral("KVTServerMessageOldProxy::isServerProcessRunning not support")),
        1);
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProxyUnsupported::saysThatItHasNoTimeOut()
{
    const TestProxy proxy;
    const LogCapture log;
    proxy->TimeOut();
    QCOMPARE(
        log.count(QtCriticalMsg, QStringLiteral("KVTServerMessageOldProxy::TimeOut not support")),
        1);
    QCOMPARE(log.lines().size(), 1);
}

KSPROXY_TEST_MAIN(tst_ProxyUnsupported)
#include "tst_ProxyUnsupported.moc"
