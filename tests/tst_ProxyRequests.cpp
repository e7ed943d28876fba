#include "LogCapture.h"
#include "PackageRequestReadData.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteFile.h"
#include "PackageRequestWriteMemData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"

#include <QPointer>
#include <QTest>

namespace {

// The three conversions of the packages in this file, see ChosenPackage.
const QString RequestText = QStringLiteral("request \u00E9\u4E2D");
const QString ReplyText = QStringLiteral("reply \u00E9\u4E2D");
const QByteArray ByteForm = "byte form";
const QByteArray RequestLatin1 = "request \xE9?";

/// Claims a data length of the test's choosing.
class WriteOfLength : public PackageRequestWriteData
{
public:
    explicit WriteOfLength(int length)
        : m_length(length)
    { }
    int getDataLength() const override
    {
        return m_length;
    }

private:
    const int m_length;
};

/// A plain package with codes of the test's choosing; its constructor is for derived classes.
class PackageOfKind : public PackageBase
{
public:
    PackageOfKind(int readWriteCode, int clientPackageType)
        : PackageBase(readWriteCode, clientPackageType)
    { }
};

class ReadOfKind : public PackageRequestRead
{
public:
    explicit ReadOfKind(int clientPackageType)
        : PackageRequestRead(clientPackageType)
    { }
};

class WriteOfKind : public PackageRequestWrite
{
public:
    explicit WriteOfKind(int clientPackageType)
        : PackageRequestWrite(clientPackageType)
    { }
};

using PackagePointer = QSharedPointer<PackageBase>;

} // namespace

Q_DECLARE_METATYPE(PackagePointer)

class tst_ProxyRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesRequestsWhenNotRegistered();
    void queuesAReadOfAtLeastOneByte_data();
    void queuesAReadOfAtLeastOneByte();
    void queuesAWriteOfAnyLengthButANegativeOne_data();
    void queuesAWriteOfAnyLengthButANegativeOne();
    void queuesThePackageItself();
    void queuesInTheOrderOfTheCalls();
    void queuesAnEmptyCancelWhenThePackageTypeIsNotText_data();
    void queuesAnEmptyCancelWhenThePackageTypeIsNotText();
    void queuesWithoutLookingAtTheRegistration();
    void queuesAMessageWithoutAPackage();
    void sendsAPackageForUnknownEquipmentAllTheSame();
    void encodesEachKind_data();
    void encodesEachKind();
    void leavesEverythingAloneForANullPackage();
    void encodesTheRealRequestText();
};

void tst_ProxyRequests::refusesRequestsWhenNotRegistered()
{
    const TestProxy proxy;
    PackageRequestReadData read;
    read.setReadLength(4);
    PackageRequestWriteData write;
    write.setData("data");
    int completions = 0;
    read.setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    write.setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    const LogCapture log;
    QVERIFY(!proxy->SendRequestReadData(&read));
    QVERIFY(!proxy->SendRequestWriteData(&write));
    QVERIFY(log.lines().isEmpty());
    QVERIFY(proxy.sendQueue().isEmpty());
    QCOMPARE(completions, 0);
    // Not looked at either.
    QVERIFY(!proxy->SendRequestReadData(nullptr));
    QVERIFY(!proxy->SendRequestWriteData(nullptr));
}

void tst_ProxyRequests::queuesAReadOfAtLeastOneByte_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("isQueued");
    QTest::newRow("the least negative") << -1 << false;
    QTest::newRow("the most negative") << std::numeric_limits<int>::min() << false;
    QTest::newRow("nothing") << 0 << false;
    QTest::newRow("one byte") << 1 << true;
    QTest::newRow("very much") << std::numeric_limits<int>::max() << true;
}

void tst_ProxyRequests::queuesAReadOfAtLeastOneByte()
{
    QFETCH(int, length);
    QFETCH(bool, isQueued);
    const TestProxy proxy;
    proxy->setRegisted(true);
    PackageRequestReadData package;
    package.setReadLength(length);
    const LogCapture log;
    QCOMPARE(proxy->SendRequestReadData(&package), isQueued);
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(proxy.sendQueue().size(), isQueued ? 1 : 0);
    if (isQueued)
        QCOMPARE(proxy.sendQueue().first(),
                 (Outgoing{7, package.toRequestString(), QByteArray(), &package}));
}

void tst_ProxyRequests::queuesAWriteOfAnyLengthButANegativeOne_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("isQueued");
    QTest::newRow("the least negative") << -1 << false;
    QTest::newRow("the most negative") << std::numeric_limits<int>::min() << false;
    QTest::newRow("nothing") << 0 << true;
    QTest::newRow("one byte") << 1 << true;
    QTest::newRow("very much") << std::numeric_limits<int>::max() << true;
}

void tst_ProxyRequests::queuesAWriteOfAnyLengthButANegativeOne()
{
    QFETCH(int, length);
    QFETCH(bool, isQueued);
    const TestProxy proxy;
    proxy->setRegisted(true);
    WriteOfLength package(length);
    const LogCapture log;
    QCOMPARE(proxy->SendRequestWriteData(&package), isQueued);
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(proxy.sendQueue().size(), isQueued ? 1 : 0);
    if (isQueued)
        QCOMPARE(proxy.sendQueue().first(),
                 (Outgoing{10, package.toRequestString(), QByteArray(), &package}));
}

void tst_ProxyRequests::queuesThePackageItself()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    PackageRequestReadData package;
    package.setReadLength(1);
    QVERIFY(proxy->SendRequestReadData(&package));
    const QString asQueued = proxy.sendQueue().first().text;
    package.setTag(QStringLiteral("changed later"));
    QCOMPARE(proxy.sendQueue().first().package, &package);
    QCOMPARE(proxy.sendQueue().first().text, asQueued); // encoded when it was handed in
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    proxy->Terminate();
    QVERIFY(QPointer<PackageBase>(&package)); // a double deletion would show at the end of this
}

void tst_ProxyRequests::queuesInTheOrderOfTheCalls()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    PackageRequestReadData read;
    read.setReadLength(1);
    PackageRequestWriteData write;
    QVERIFY(proxy->SendRequestReadData(&read));
    QVERIFY(proxy->ConnectController());
    QVERIFY(proxy->SendRequestWriteData(&write));
    QVERIFY(proxy->SendRequestReadData(&read));
    QList<PackageBase *> packages;
    const QList<Outgoing> queue = proxy.sendQueue();
    for (const Outgoing &entry : queue)
        packages.append(entry.package);
    QCOMPARE(packages, (QList<PackageBase *>{&read, nullptr, &write, &read}));
}

void tst_ProxyRequests::queuesAnEmptyCancelWhenThePackageTypeIsNotText_data()
{
    QTest::addColumn<int>("packageType");
    QTest::newRow("byte arrays") << 1;
    QTest::newRow("a type that nobody knows") << 2;
    QTest::newRow("a negative type") << -1;
}

void tst_ProxyRequests::queuesAnEmptyCancelWhenThePackageTypeIsNotText()
{
    QFETCH(int, packageType);
    const TestProxy proxy;
    proxy->setRegisted(true);
    proxy->setPackageType(static_cast<TarnEnum::PackageType>(packageType));
    PackageRequestReadData read;
    read.setReadLength(4);
    PackageRequestWriteData write;
    write.setData("data");
    PackageBase plain;
    QVERIFY(proxy->SendRequestReadData(&read));
    QVERIFY(proxy->SendRequestWriteData(&write));
    QVERIFY(proxy->SendPackageMessage(&plain));
    QCOMPARE(proxy.sendQueue(),
             (QList<Outgoing>{{6, QString(), QByteArray(), &read},
                              {6, QString(), QByteArray(), &write},
                              {6, QString(), QByteArray(), &plain}}));
}

void tst_ProxyRequests::queuesWithoutLookingAtTheRegistration()
{
    const TestProxy proxy;
    ChosenPackage<PackageRequestReadFile> package;
    QVERIFY(proxy->SendPackageMessage(&package));
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{8, RequestText, QByteArray(), &package}}));
}

void tst_ProxyRequests::queuesAMessageWithoutAPackage()
{
    const TestProxy proxy;
    QVERIFY(proxy->SendPackageMessage(nullptr));
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{6, QString(), QByteArray(), nullptr}}));
}

void tst_ProxyRequests::sendsAPackageForUnknownEquipmentAllTheSame()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    proxy->setEquipmentTable({{QStringLiteral("known"), EquipmentInfo()}});
    PackageRequestReadData package;
    package.setReadLength(1);
    for (const QString &key : {QStringLiteral("known"), QStringLiteral("unknown"), QString()}) {
        package.setServerConnectionKey(key);
        QVERIFY(proxy->SendRequestReadData(&package));
        QCOMPARE(proxy.sendQueue().last(),
                 (Outgoing{7, package.toRequestString(), QByteArray(), &package}));
    }
    QCOMPARE(proxy->equipmentTable().keys(), QStringList{QStringLiteral("known")});
}

void tst_ProxyRequests::encodesEachKind_data()
{
    QTest::addColumn<PackagePointer>("package");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("replyType");
    QTest::addColumn<QString>("reply");
    const auto known = [](const char *name, PackageBase *package, int id, const QByteArray &bytes,
                          int replyType) {
        QTest::newRow(name) << PackagePointer(package) << id << RequestText << bytes << replyType
                            << ReplyText;
    };
    known("read data", new ChosenPackage<PackageRequestReadData>, 7, ByteForm, 11);
    known("read file", new ChosenPackage<PackageRequestReadFile>, 8, ByteForm, 12);
    known("read memory data", new ChosenPackage<PackageRequestReadMemData>, 9, ByteForm, 13);
    known("write data", new ChosenPackage<PackageRequestWriteData>, 10, ByteForm, 14);
    // These two travel as text in either form.
    known("write file", new ChosenPackage<PackageRequestWriteFile>, 11, RequestLatin1, 15);
    known("write memory data", new ChosenPackage<PackageRequestWriteMemData>, 12, RequestLatin1,
          16);
    known("a read of the application's own class", new ChosenPackage<PackageOfKind>(0, 1), 8,
          ByteForm, 12);
    const auto unknown = [](const char *name, PackageBase *package) {
        QTest::newRow(name) << PackagePointer(package) << 7 << QString() << QByteArray() << 18
                            << QString();
    };
    unknown("a read of kind 3", new ChosenPackage<ReadOfKind>(3));
    unknown("a read of kind -1", new ChosenPackage<ReadOfKind>(-1));
    unknown("a write of kind 3", new ChosenPackage<WriteOfKind>(3));
    unknown("a write of kind -1", new ChosenPackage<WriteOfKind>(-1));
    unknown("a plain package", new ChosenPackage<PackageBase>);
    unknown("neither a read nor a write", new ChosenPackage<PackageOfKind>(2, 0));
}

void tst_ProxyRequests::encodesEachKind()
{
    QFETCH(PackagePointer, package);
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    QFETCH(int, replyType);
    QFETCH(QString, reply);
    const TestProxy proxy;
    const LogCapture log;
    // What stood there before is overwritten in every case, never appended to.
    auto sentId = TarnEnum::SendOrder;
    QString sentText = QStringLiteral("old");
    proxy->ParseSendPackageInfo(package.data(), &sentId, &sentText);
    QCOMPARE(static_cast<int>(sentId), id);
    QCOMPARE(sentText, text);
    QVERIFY(!sentText.isNull());

    sentId = TarnEnum::SendOrder;
    QByteArray sentBytes = "old";
    proxy->ParseSendPackageQByteArrayInfo(package.data(), &sentId, &sentBytes);
    QCOMPARE(static_cast<int>(sentId), id);
    QCOMPARE(sentBytes, bytes);

    auto type = TarnEnum::ServerAlive;
    QString replyString = QStringLiteral("old");
    proxy->ParsePackageInfo(package.data(), &type, &replyString);
    QCOMPARE(static_cast<int>(type), replyType);
    QCOMPARE(replyString, reply);
    QVERIFY(!replyString.isNull());

    QVERIFY(proxy->SendPackageMessage(package.data()));
    QCOMPARE(proxy.sendQueue(), (QList<Outgoing>{{id, text, QByteArray(), package.data()}}));
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyRequests::leavesEverythingAloneForANullPackage()
{
    const TestProxy proxy;
    auto id = TarnEnum::SendOrder;
    QString text = QStringLiteral("old");
    QByteArray bytes = "old";
    proxy->ParseSendPackageInfo(nullptr, &id, &text);
    proxy->ParseSendPackageQByteArrayInfo(nullptr, &id, &bytes);
    QCOMPARE(id, TarnEnum::SendOrder);
    QCOMPARE(text, QStringLiteral("old"));
    QCOMPARE(bytes, QByteArray("old"));
}

void tst_ProxyRequests::encodesTheRealRequestText()
{
    const TestProxy proxy;
    proxy->setRegisted(true);
    PackageRequestReadData package;
    package.setReadLength(3);
    package.setServerConnectionKey(QStringLiteral("k1"));
    QVERIFY(proxy->SendRequestReadData(&package));
    const QStringList fields = proxy.sendQueue().first().text.split(QLatin1Char(';'));
    QVERIFY(fields.contains(QStringLiteral("serialNum=%1").arg(package.getSerialNum())));
    QVERIFY(fields.contains(QStringLiteral("serverConnectionKey=k1")));
    QVERIFY(fields.contains(QStringLiteral("readLength=3")));
}

KSPROXY_TEST_MAIN(tst_ProxyRequests)
#include "tst_ProxyRequests.moc"
