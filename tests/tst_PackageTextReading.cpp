#include "PackageKinds.h"
#include "TestMain.h"

#include <QTest>

namespace {

struct FieldRow
{
    const char *name;
    const char *field;
};

/// A filled read request, in which `dataLength=4` is right.
void prepare(PackageRequestReadData *package)
{
    PackageKinds::fill(package);
    package->setCommResult(TarnEnum::Success);
}

QString field(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

class tst_PackageTextReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesGoodFields_data();
    void takesGoodFields();
    void takesFieldsInAnyOrder();
    void ignoresUnknownNames_data();
    void ignoresUnknownNames();
    void keepsTheValuesOfMissingFields();
    void takesTheLastOfTwoEqualFields();
    void neverChangesTheCodesOfATypedPackage_data();
    void neverChangesTheCodesOfATypedPackage();
    void ignoresTheCodesInAPlainPackage_data();
    void ignoresTheCodesInAPlainPackage();
};

void tst_PackageTextReading::takesGoodFields_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *name, const char *text, const char *line) {
        QTest::newRow(name) << field(text) << field(line);
    };
    row("the largest serial number", "serialNum=18446744073709551615",
        "serial number: 18446744073709551615");
    row("serial number zero", "serialNum=0", "serial number: 0");
    row("serial number with leading zeros", "serialNum=007", "serial number: 7");
    row("a negative integer", "deviceType=-1", "device type: -1");
    row("the smallest port address", "portAddr=-128", "port address: -128");
    row("the largest high address", "highAddr=65535", "high address: 65535");
    row("a read length", "readLength=16", "read length: 16");
    row("a negative read length", "readLength=-1", "read length: -1");
    row("a known result", "commResult=3", "result: 3");
    row("an unknown result", "commResult=99", "result: 99");
    row("a negative result", "commResult=-1", "result: -1");
    row("an empty text", "tag=", "tag: ");
    row("a text with value signs", "tag=a=b=", "tag: a=b=");
    row("a text that need not be encoded but is", "tag=%41", "tag: A");
    row("a text with small hexadecimal digits", "tag=%c3%a4", "tag: \u00E4");
    row("a text with a plus", "tag=a+b", "tag: a+b");
    row("a text with blanks", "tag= a ", "tag:  a ");
    row("a connection key", "serverConnectionKey=%2Fdev%2FttyS0", "connection key: /dev/ttyS0");
    row("data with padding", "data=Zg==", "data: 66");
    row("no data", "data=", "data: ");
}

void tst_PackageTextReading::takesGoodFields()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    PackageRequestReadData package;
    prepare(&package);
    QStringList expected = PackageKinds::describe(package);
    package.fromString(text);
    const QString label = line.left(line.indexOf(QLatin1Char(':')) + 1);
    for (QString &other : expected) {
        if (other.startsWith(label))
            other = line;
    }
    QCOMPARE(PackageKinds::describe(package), expected);
}

void tst_PackageTextReading::takesFieldsInAnyOrder()
{
    PackageRequestReadData sent;
    PackageKinds::fill(&sent);
    QStringList fields = sent.toReplyString().split(QLatin1Char(';'));
    std::reverse(fields.begin(), fields.end());
    PackageRequestReadData received;
    received.setReadLength(sent.getReadLength());
    received.fromString(fields.join(QLatin1Char(';')));
    QCOMPARE(PackageKinds::describe(received), PackageKinds::describe(sent));
}

void tst_PackageTextReading::ignoresUnknownNames_data()
{
    QTest::addColumn<QString>("unknown");
    QTest::newRow("a new name") << QStringLiteral("newField=1");
    QTest::newRow("without a value") << QStringLiteral("newField=");
    QTest::newRow("with a value that nobody could read") << QStringLiteral("newField=%x\u65E5==");
    QTest::newRow("without a name") << QStringLiteral("=1");
    QTest::newRow("other letter case") << QStringLiteral("TAG=other");
    QTest::newRow("a blank before the name") << QStringLiteral(" tag=other");
    QTest::newRow("the beginning of a name") << QStringLiteral("ta=other");
    QTest::newRow("more than a name") << QStringLiteral("tags=other");
    QTest::newRow("the user token") << QStringLiteral("userToken=1");
    QTest::newRow("no Latin-1") << QStringLiteral("\u65E5=1");
}

void tst_PackageTextReading::ignoresUnknownNames()
{
    QFETCH(QString, unknown);
    PackageRequestReadData package;
    prepare(&package);
    const QStringList before = PackageKinds::describe(package);
    package.fromString(unknown);
    QCOMPARE(PackageKinds::describe(package), before);
    package.fromString(QStringLiteral("serialNum=77;") + unknown + QStringLiteral(";timeout=5"));
    QCOMPARE(package.getCommResult(), TarnEnum::Success);
    QCOMPARE(package.getSerialNum(), Q_UINT64_C(77));
    QCOMPARE(package.getTimeout(), 5);
    QCOMPARE(package.getTag(), QStringLiteral("a tag"));
}

void tst_PackageTextReading::keepsTheValuesOfMissingFields()
{
    PackageRequestReadData package;
    PackageKinds::fill(&package);
    QStringList expected = PackageKinds::describe(package);
    expected.first() = QStringLiteral("serial number: 77");
    package.fromString(QStringLiteral("serialNum=77"));
    // The result, too: only a reply that carries one changes it.
    QCOMPARE(PackageKinds::describe(package), expected);
}

void tst_PackageTextReading::takesTheLastOfTwoEqualFields()
{
    PackageRequestReadData package;
    package.fromString(QStringLiteral("serialNum=1;tag=first;data=QQ==;dataLength=9;timeout=1;"
                                      "serialNum=2;tag=last;data=QkI=;dataLength=2;timeout=2"));
    QCOMPARE(package.getCommResult(), TarnEnum::Success);
    QCOMPARE(package.getSerialNum(), Q_UINT64_C(2));
    QCOMPARE(package.getTag(), QStringLiteral("last"));
    QCOMPARE(package.getData(), QByteArray("BB"));
    QCOMPARE(package.getTimeout(), 2);
}

void tst_PackageTextReading::neverChangesTheCodesOfATypedPackage_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextReading::neverChangesTheCodesOfATypedPackage()
{
    QFETCH(PackageKind, kind);
    if (kind.readWriteCode < 0)
        return; // a plain package, of which the next test speaks
    for (int readWriteCode = -1; readWriteCode <= 2; ++readWriteCode) {
        for (int type = -1; type <= 3; ++type) {
            const auto package = kind.make();
            package->fromString(QStringLiteral("readWriteCode=%1;clientPackageType=%2;serialNum=77")
                                    .arg(readWriteCode)
                                    .arg(type));
            const bool agrees
                = readWriteCode == kind.readWriteCode && type == kind.clientPackageType;
            QCOMPARE(package->getCommResult(), agrees ? TarnEnum::Success : TarnEnum::BadReply);
            QCOMPARE(package->getReadWriteCode(), kind.readWriteCode);
            QCOMPARE(package->getClientPackageType(), kind.clientPackageType);
            QCOMPARE(package->getSerialNum(), Q_UINT64_C(77));
        }
    }
}

void tst_PackageTextReading::ignoresTheCodesInAPlainPackage_data()
{
    QTest::addColumn<QString>("codes");
    QTest::newRow("a read request's") << QStringLiteral("readWriteCode=0;clientPackageType=2");
    QTest::newRow("a write request's") << QStringLiteral("readWriteCode=1;clientPackageType=1");
    QTest::newRow("its own") << QStringLiteral("readWriteCode=-1;clientPackageType=0");
    QTest::newRow("no numbers") << QStringLiteral("readWriteCode=read;clientPackageType=");
}

void tst_PackageTextReading::ignoresTheCodesInAPlainPackage()
{
    QFETCH(QString, codes);
    for (const PackageKind &kind :
         {PackageKinds::Plain, PackageKinds::Combination, PackageKinds::Special}) {
        const auto package = kind.make();
        package->fromString(codes + QStringLiteral(";serialNum=77"));
        QCOMPARE(package->getCommResult(), TarnEnum::Success);
        QCOMPARE(package->getReadWriteCode(), -1);
        QCOMPARE(package->getClientPackageType(), 0);
        QCOMPARE(package->getSerialNum(), Q_UINT64_C(77));
    }
}

KSPROXY_TEST_MAIN(tst_PackageTextReading)
#include "tst_PackageTextReading.moc"
