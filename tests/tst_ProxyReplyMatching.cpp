#include "LogCapture.h"
#include "PackageRequestReadData.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteFile.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"

#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <memory>
#include <typeinfo>

namespace {

using PackagePointer = std::unique_ptr<PackageBase>;

PackagePointer parse(const TestProxy &proxy, const QByteArray &text, int type)
{
    return PackagePointer(proxy->ParseCompleteRequest(QString::fromLatin1(text),
                                                      static_cast<TarnEnum::NotifyTypes>(type)));
}

QString className(const PackageBase &package)
{
    return QString::fromLatin1(typeid(package).name());
}

template <typename Package>
QString nameOf()
{
    return QString::fromLatin1(typeid(Package).name());
}

/// A package whose serial number a test chooses.
template <typename Package>
void setSerialNum(Package *package, quint64 number)
{
    package->fromString(QStringLiteral("serialNum=%1").arg(number));
}

/// The header fields that a reply takes over from its request.
QStringList header(const PackageBase &package)
{
    return {
        QString::number(package.getHighAddr()),
        QString::number(package.getLowAddr()),
        QString::number(package.getDesAddr()),
        QString::number(package.getDeviceType()),
        QString::number(package.getPortAddr()),
        package.getSeverConnectionKey(),
        QString::number(package.getReserved2()),
        QString::number(package.getScanBoardAddr()),
        QString::number(package.getScrAddr()),
        package.getTag(),
        QString::number(package.getTimeout()),
        QString::number(reinterpret_cast<quintptr>(package.getUserToken())),
    };
}

void fillHeader(PackageBase *package)
{
    package->setHighAddr(60001);
    package->setLowAddr(60002);
    package->setDesAddr(-3);
    package->setDeviceType(-4);
    package->setPortAddr(-5);
    package->setServerConnectionKey(QStringLiteral("key 6"));
    package->setReserved2(-7);
    package->setScanBoardAddr(-8);
    package->setScrAddr(-9);
    package->setTag(QStringLiteral("tag 10"));
    package->setTimeout(11);
    package->setUserToken(package);
}

class DerivedReadData : public PackageRequestReadData
{
};

/// A reply whose data length is not its data's, to tell which of the two is used.
class OddReply : public PackageBase
{
public:
    QByteArray getData() const override
    {
        return QByteArrayLiteral("reply");
    }
    int getDataLength() const override
    {
        return 77;
    }
};

using Make = PackageBase *(*)();

} // namespace

Q_DECLARE_METATYPE(Make)

class tst_ProxyReplyMatching : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesThePackageOfTheReplyType_data();
    void makesThePackageOfTheReplyType();
    void fillsThePackageFromTheText();
    void makesAPackageOfAnyText_data();
    void makesAPackageOfAnyText();
    void doesNotSupportBytes_data();
    void doesNotSupportBytes();
    void givesAReadDataRequestItsData();
    void givesNoOtherRequestData_data();
    void givesNoOtherRequestData();
    void copiesTheHeaderOfTheRequest();
    void refusesANullRequest();
    void findsTheRequestThatWasSentFirst();
    void findsNothing_data();
    void findsNothing();
    void passesOverNullEntries();
    void searchesUnderTheLock();
};

void tst_ProxyReplyMatching::makesThePackageOfTheReplyType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("expected");
    QTest::newRow("read data") << 11 << nameOf<PackageRequestReadData>();
    QTest::newRow("read file") << 12 << nameOf<PackageRequestReadFile>();
    QTest::newRow("read memory data") << 13 << nameOf<PackageRequestReadMemData>();
    QTest::newRow("write data") << 14 << nameOf<PackageRequestWriteData>();
    QTest::newRow("write file") << 15 << nameOf<PackageRequestWriteFile>();
    for (const int type : {-1, 0, 10, 16, 17, 18, 22, 99})
        QTest::addRow("%d", type) << type << nameOf<PackageBase>();
}

void tst_ProxyReplyMatching::makesThePackageOfTheReplyType()
{
    QFETCH(int, type);
    QFETCH(QString, expected);
    const TestProxy proxy;
    const LogCapture log;
    const PackagePointer package = parse(proxy, replyText(7, "data"), type);
    QVERIFY(package);
    QCOMPARE(className(*package), expected);
    QVERIFY(package->parent() == nullptr);
    QCOMPARE(package->getSerialNum(), quint64(7));
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyReplyMatching::fillsThePackageFromTheText()
{
    const TestProxy proxy;
    const PackagePointer package = parse(proxy,
                                         "serialNum=18446744073709551615;commResult=3;highAddr=9;"
                                         "tag=a%2Cb;dataLength=4;data=ZGF0YQ==",
                                         11);
    QCOMPARE(package->getSerialNum(), std::numeric_limits<quint64>::max());
    QCOMPARE(package->getCommResult(), TarnEnum::NoEquipment);
    QCOMPARE(package->getHighAddr(), quint16(9));
    QCOMPARE(package->getTag(), QStringLiteral("a,b"));
    QCOMPARE(package->getData(), QByteArray("data"));
}

void tst_ProxyReplyMatching::makesAPackageOfAnyText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no field") << QByteArray("nonsense");
    QTest::newRow("a bad field") << QByteArray("serialNum=x");
    QTest::newRow("bytes that are no text") << QByteArray("\xFF\xFE\x01");
}

void tst_ProxyReplyMatching::makesAPackageOfAnyText()
{
    QFETCH(QByteArray, text);
    const TestProxy proxy;
    const LogCapture log;
    for (const int type : {11, 14, 18}) {
        const PackagePointer package = parse(proxy, text, type);
        QVERIFY(package);
        QCOMPARE(package->getCommResult(), TarnEnum::BadReply);
    }
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyReplyMatching::doesNotSupportBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("a reply's text") << replyText(7, "data");
}

void tst_ProxyReplyMatching::doesNotSupportBytes()
{
    QFETCH(QByteArray, bytes);
    const TestProxy proxy;
    const QString text
        = QStringLiteral("KVTServerMessageOldProxy::ParseCompleteRequest QByteArray not spport");
    int calls = 0;
    const LogCapture log;
    for (const int type : {11, 18, 99}) {
        QVERIFY(!proxy->ParseCompleteRequest(bytes, static_cast<TarnEnum::NotifyTypes>(type)));
        ++calls;
        QCOMPARE(log.count(QtCriticalMsg, text), calls);
        QCOMPARE(log.lines().size(), calls);
    }
}

void tst_ProxyReplyMatching::givesAReadDataRequestItsData()
{
    const TestProxy proxy;
    PackageRequestReadData request;
    request.setReadLength(3);
    OddReply reply;
    proxy->FillReplyDataToPackage(&reply, &request);
    QCOMPARE(request.getReplyDataLength(), 77);
    QCOMPARE(request.getData(), QByteArray("reply"));
    QCOMPARE(request.getReadLength(), 3);
}

void tst_ProxyReplyMatching::givesNoOtherRequestData_data()
{
    QTest::addColumn<Make>("make");
    QTest::newRow("a class derived from read data")
        << Make([]() -> PackageBase * { return new DerivedReadData; });
    QTest::newRow("read file") << Make(
        []() -> PackageBase * { return new PackageRequestReadFile; });
    QTest::newRow("write data") << Make(
        []() -> PackageBase * { return new PackageRequestWriteData; });
    QTest::newRow("a plain package") << Make([]() -> PackageBase * { return new PackageBase; });
}

void tst_ProxyReplyMatching::givesNoOtherRequestData()
{
    QFETCH(Make, make);
    const TestProxy proxy;
    const PackagePointer request(make());
    request->setData("request");
    fillHeader(request.get());
    OddReply reply;
    proxy->FillReplyDataToPackage(&reply, request.get());
    QCOMPARE(request->getData(), QByteArray("request"));
    if (auto *const read = dynamic_cast<PackageRequestRead *>(request.get()))
        QCOMPARE(read->getReplyDataLength(), 0);
    QCOMPARE(header(reply), header(*request));
}

void tst_ProxyReplyMatching::copiesTheHeaderOfTheRequest()
{
    const TestProxy proxy;
    PackageRequestReadData request;
    fillHeader(&request);
    request.setCommResult(TarnEnum::Cancelled);
    const QStringList before = header(request);
    const PackagePointer reply = parse(
        proxy, "serialNum=7;highAddr=1;lowAddr=1;desAddr=1;deviceType=1;tag=1;commResult=2", 14);
    proxy->FillReplyDataToPackage(reply.get(), &request);
    QCOMPARE(header(*reply), before);
    QCOMPARE(header(request), before);
    // What is not copied, in either direction.
    QCOMPARE(reply->getSerialNum(), quint64(7));
    QVERIFY(request.getSerialNum() != 7);
    QCOMPARE(reply->getReadWriteCode(), 1);
    QCOMPARE(reply->getCommResult(), TarnEnum::Rejected);
    QCOMPARE(request.getCommResult(), TarnEnum::Cancelled);
}

void tst_ProxyReplyMatching::refusesANullRequest()
{
    const TestProxy proxy;
    PackageBase reply;
    fillHeader(&reply);
    const QStringList before = header(reply);
    const LogCapture log;
    QVERIFY_EXCEPTION_THROWN(proxy->FillReplyDataToPackage(&reply, nullptr), std::bad_typeid);
    QVERIFY_EXCEPTION_THROWN(proxy->FillReplyDataToPackage(nullptr, nullptr), std::bad_typeid);
    QCOMPARE(header(reply), before);
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyReplyMatching::findsTheRequestThatWasSentFirst()
{
    const TestProxy proxy;
    PackageRequestReadData other;
    PackageRequestReadData first;
    PackageRequestWriteData second;
    setSerialNum(&other, 4000000000);
    setSerialNum(&first, 4294967295);
    setSerialNum(&second, 4294967295);
    TestAccess::requestList(*proxy) << &other << &first << &second;
    QCOMPARE(proxy->MatchRequest(4294967295U), &first);
    QCOMPARE(proxy->MatchRequest(4000000000U), &other);
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{&other, &first, &second}));
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyReplyMatching::findsNothing_data()
{
    QTest::addColumn<quint64>("pending");
    QTest::addColumn<unsigned int>("wanted");
    QTest::newRow("another number") << quint64(5) << 6U;
    QTest::newRow("the same low half, above 32 bits") << quint64(0x100000005) << 5U;
    QTest::newRow("one above 32 bits") << quint64(0x100000000) << 0U;
    QTest::newRow("all of 64 bits") << ~quint64(0) << 0xFFFFFFFFU;
}

void tst_ProxyReplyMatching::findsNothing()
{
    QFETCH(quint64, pending);
    QFETCH(unsigned int, wanted);
    const TestProxy proxy;
    QVERIFY(proxy->MatchRequest(wanted) == nullptr);
    PackageRequestReadData request;
    setSerialNum(&request, pending);
    QCOMPARE(request.getSerialNum(), pending);
    TestAccess::requestList(*proxy) << &request;
    QVERIFY(proxy->MatchRequest(wanted) == nullptr);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyReplyMatching::passesOverNullEntries()
{
    const TestProxy proxy;
    PackageRequestReadData request;
    setSerialNum(&request, 5);
    TestAccess::requestList(*proxy) << nullptr << &request << nullptr;
    QCOMPARE(proxy->MatchRequest(5), &request);
    QVERIFY(proxy->MatchRequest(6) == nullptr);
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyReplyMatching::searchesUnderTheLock()
{
    const TestProxy proxy;
    PackageRequestReadData request;
    setSerialNum(&request, 5);
    QMutex &mutex = TestAccess::requestMutex(*proxy);
    PackageBase *found = nullptr;
    QSemaphore started;
    const std::unique_ptr<QThread> searcher(QThread::create([&] {
        started.release();
        found = proxy->MatchRequest(5);
    }));
    mutex.lock();
    searcher->start();
    started.acquire();
    // The search cannot have looked yet, whenever this runs.
    TestAccess::requestList(*proxy) << &request;
    mutex.unlock();
    QVERIFY(searcher->wait(WaitLimitMs));
    QCOMPARE(found, &request);
    QVERIFY(mutex.tryLock());
    mutex.unlock();
    TestAccess::requestList(*proxy).clear();
}

KSPROXY_TEST_MAIN(tst_ProxyReplyMatching)
#include "tst_ProxyReplyMatching.moc"
