#include "PackageKinds.h"
#include "ReadByteForm.h"
#include "TestMain.h"

#include <QLocale>
#include <QTest>

#include <limits>

class tst_PackageByteForm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesExactlyTheseBytes();
    void writesTheDataOfAWriteRequest();
    void beginsWithItsVersion_data();
    void beginsWithItsVersion();
    void writesEveryField_data();
    void writesEveryField();
    void writesTheEndsOfAllRanges_data();
    void writesTheEndsOfAllRanges();
    void writesTexts_data();
    void writesTexts();
    void writesNullAsEmpty();
    void doesNotDependOnTheLocale();
};

void tst_PackageByteForm::writesExactlyTheseBytes()
{
    PackageRequestReadMemData package;
    package.fromString(QStringLiteral("serialNum=%1").arg(Q_UINT64_C(0x0102030405060708)));
    package.setServerConnectionKey(QStringLiteral("K\u00E4"));
    package.setDeviceType(0x11121314);
    package.setPortAddr(0x21);
    package.setScanBoardAddr(0x31323334);
    package.setDesAddr(-2);
    package.setScrAddr(0x51);
    package.setHighAddr(0x6162);
    package.setLowAddr(0xF172);
    package.setReserved2(-2);
    package.setTimeout(1000);
    package.setTag(QStringLiteral("t"));
    package.setReadLength(0x10);
    const QByteArray expected("01" // version
                              "0807060504030201" // serial number
                              "00000000" // read
                              "02000000" // memory data
                              "04000000"
                              "4b00e400" // connection key: bytes, then UTF-16
                              "14131211" // device type
                              "21" // port address
                              "34333231" // scan board address
                              "fe" // des address
                              "51" // scr address
                              "6261" // high address
                              "72f1" // low address
                              "feffffff" // reserved
                              "e8030000" // timeout
                              "02000000"
                              "7400" // tag
                              "10000000"); // read length
    QCOMPARE(package.toByteArray().toHex(), expected);
}

void tst_PackageByteForm::writesTheDataOfAWriteRequest()
{
    PackageRequestWriteData package;
    package.setData(QByteArray("\0\xFF"
                               "a",
                               3));
    QVERIFY(package.toByteArray().endsWith(QByteArray("\3\0\0\0\0\xFF"
                                                      "a",
                                                      7)));
    package.setData(QByteArray(100000, 'x'));
    QVERIFY(
        package.toByteArray().endsWith(QByteArray("\xA0\x86\1\0", 4) + QByteArray(100000, 'x')));
}

void tst_PackageByteForm::beginsWithItsVersion_data()
{
    PackageKinds::addRows();
}

void tst_PackageByteForm::beginsWithItsVersion()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    if (dynamic_cast<SpecialPackageRequest *>(package.get()) != nullptr) {
        QCOMPARE(package->toByteArray(), QByteArray());
        return;
    }
    QCOMPARE(package->toByteArray().at(0), '\x01');
}

void tst_PackageByteForm::writesEveryField_data()
{
    QTest::addColumn<PackageKind>("kind");
    for (const PackageKind &kind : PackageKinds::All) {
        if (kind.makeRaw != PackageKinds::Special.makeRaw)
            QTest::newRow(kind.name) << kind;
    }
}

void tst_PackageByteForm::writesEveryField()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    PackageKinds::fill(package.get());
    const ReadByteForm read(package->toByteArray(), kind.isRead(), kind.isWrite());
    QVERIFY(read.isWhole);
    QCOMPARE(read.version, quint8(1));
    QCOMPARE(read.serialNum, package->getSerialNum());
    QCOMPARE(read.readWriteCode, kind.readWriteCode);
    QCOMPARE(read.clientPackageType, kind.clientPackageType);
    QCOMPARE(read.connectionKey, QStringLiteral("COM1"));
    QCOMPARE(read.deviceType, 101);
    QCOMPARE(read.portAddr, qint8(-102));
    QCOMPARE(read.scanBoardAddr, -103);
    QCOMPARE(read.desAddr, qint8(104));
    QCOMPARE(read.scrAddr, qint8(-105));
    QCOMPARE(read.highAddr, quint16(60106));
    QCOMPARE(read.lowAddr, quint16(107));
    QCOMPARE(read.reserved2, -108);
    QCOMPARE(read.timeout, 109);
    QCOMPARE(read.tag, QStringLiteral("a tag"));
    if (kind.isRead())
        QCOMPARE(read.readLength, 110);
    if (kind.isWrite())
        QCOMPARE(read.data, QByteArray("\0\x01\xFE\xFF", 4));
}

void tst_PackageByteForm::writesTheEndsOfAllRanges_data()
{
    QTest::addColumn<bool>("isLargest");
    QTest::newRow("smallest") << false;
    QTest::newRow("largest") << true;
}

void tst_PackageByteForm::writesTheEndsOfAllRanges()
{
    QFETCH(bool, isLargest);
    const auto end = [isLargest](auto zero) {
        using Limits = std::numeric_limits<decltype(zero)>;
        return isLargest ? Limits::max() : Limits::min();
    };
    PackageRequestReadData package;
    package.fromString(QStringLiteral("serialNum=%1").arg(end(quint64())));
    package.setHighAddr(end(quint16()));
    package.setLowAddr(end(quint16()));
    package.setDesAddr(end(qint8()));
    package.setPortAddr(end(qint8()));
    package.setScrAddr(end(qint8()));
    package.setDeviceType(end(0));
    package.setReserved2(end(0));
    package.setScanBoardAddr(end(0));
    package.setTimeout(end(0));
    package.setReadLength(end(0));
    const ReadByteForm read(package.toByteArray(), true, false);
    QVERIFY(read.isWhole);
    QCOMPARE(read.serialNum, end(quint64()));
    QCOMPARE(read.highAddr, end(quint16()));
    QCOMPARE(read.lowAddr, end(quint16()));
    QCOMPARE(read.desAddr, end(qint8()));
    QCOMPARE(read.portAddr, end(qint8()));
    QCOMPARE(read.scrAddr, end(qint8()));
    QCOMPARE(read.deviceType, end(0));
    QCOMPARE(read.reserved2, end(0));
    QCOMPARE(read.scanBoardAddr, end(0));
    QCOMPARE(read.timeout, end(0));
    QCOMPARE(read.readLength, end(0));
}

void tst_PackageByteForm::writesTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("separators") << QStringLiteral(";=%,");
    QTest::newRow("a zero character inside") << QStringLiteral("a\0b").left(3);
    QTest::newRow("other alphabets") << QStringLiteral("\u00E4\u65E5\U0001F600");
    QTest::newRow("a byte order mark") << QString(QChar(0xFEFF));
    QTest::newRow("a lone surrogate") << QString(QChar(0xD83D));
}

void tst_PackageByteForm::writesTexts()
{
    QFETCH(QString, text);
    PackageRequestWriteFile package;
    package.setTag(text);
    package.setServerConnectionKey(text + text);
    const ReadByteForm read(package.toByteArray(), false, true);
    QVERIFY(read.isWhole);
    QCOMPARE(read.tag, text);
    QCOMPARE(read.connectionKey, text + text);
}

void tst_PackageByteForm::writesNullAsEmpty()
{
    PackageRequestWriteData package;
    const QByteArray withNulls = package.toByteArray();
    package.setServerConnectionKey(QLatin1String(""));
    package.setTag(QLatin1String(""));
    package.setData("");
    QCOMPARE(withNulls.toHex(), package.toByteArray().toHex());
}

void tst_PackageByteForm::doesNotDependOnTheLocale()
{
    PackageRequestReadData package;
    PackageKinds::fill(&package);
    const QByteArray bytes = package.toByteArray();
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    const QByteArray arabic = package.toByteArray();
    QLocale::setDefault(before);
    QCOMPARE(arabic, bytes);
}

KSPROXY_TEST_MAIN(tst_PackageByteForm)
#include "tst_PackageByteForm.moc"
