#include "PackageKinds.h"
#include "TestMain.h"

#include <QTest>

namespace {

struct FieldRow
{
    const char *name;
    const char *field;
};

// Each stands for what is wrong with it, in a field that is otherwise known.
constexpr FieldRow BadFields[] = {
    {"no name and no value", ""},
    {"a known name without a value sign", "portAddr"},
    {"an unknown name without a value sign", "something"},
    {"serial number: empty", "serialNum="},
    {"serial number: negative", "serialNum=-1"},
    {"serial number: 2^64", "serialNum=18446744073709551616"},
    {"serial number: a word", "serialNum=one"},
    {"serial number: hexadecimal", "serialNum=0x10"},
    {"serial number: with a fraction", "serialNum=1.0"},
    {"integer: empty", "deviceType="},
    {"integer: a word", "deviceType=one"},
    {"integer: a sign alone", "deviceType=-"},
    {"integer: two signs", "deviceType=--1"},
    {"integer: hexadecimal", "deviceType=0x10"},
    {"integer: with a fraction", "deviceType=1.0"},
    {"integer: with an exponent", "deviceType=1e3"},
    {"integer: grouped", "deviceType=1,000"},
    {"integer: grouped with points", "deviceType=1.000"},
    {"integer: something after it", "deviceType=1x"},
    {"integer: percent-encoded", "deviceType=%31"},
    {"integer: another alphabet's digits", "deviceType=\u0661"},
    {"integer: full-width digits", "deviceType=\uFF11"},
    {"integer: a second value sign", "deviceType=1=1"},
    {"device type: above its range", "deviceType=2147483648"},
    {"device type: below its range", "deviceType=-2147483649"},
    {"device type: above 64 bits", "deviceType=9223372036854775808"},
    {"port address: above its range", "portAddr=128"},
    {"port address: below its range", "portAddr=-129"},
    {"scan board address: above its range", "scanBoardAddr=2147483648"},
    {"des address: above its range", "desAddr=128"},
    {"des address: below its range", "desAddr=-129"},
    {"scr address: above its range", "scrAddr=128"},
    {"scr address: below its range", "scrAddr=-129"},
    {"high address: above its range", "highAddr=65536"},
    {"high address: negative", "highAddr=-1"},
    {"low address: above its range", "lowAddr=65536"},
    {"low address: negative", "lowAddr=-1"},
    {"reserved: above its range", "reserved2=2147483648"},
    {"timeout: below its range", "timeout=-2147483649"},
    {"read length: empty", "readLength="},
    {"read length: above its range", "readLength=2147483648"},
    {"result: empty", "commResult="},
    {"result: a word", "commResult=Success"},
    {"result: above its range", "commResult=2147483648"},
    {"tag: cut off after the percent", "tag=a%"},
    {"tag: cut off after a digit", "tag=a%4"},
    {"tag: no hexadecimal digit", "tag=a%4g"},
    {"tag: not encoded", "tag=\u00E4"},
    {"tag: not encoded and no Latin-1", "tag=\u65E5"},
    {"tag: no UTF-8", "tag=%FF"},
    {"tag: UTF-8 cut off", "tag=a%C3"},
    {"tag: UTF-8 longer than needed", "tag=%C0%80"},
    {"tag: a surrogate in UTF-8", "tag=%ED%A0%80"},
    {"tag: beyond the last code point", "tag=%F4%90%80%80"},
    {"tag: a continuation alone", "tag=%80"},
    {"connection key: cut off after the percent", "serverConnectionKey=a%"},
    {"connection key: no UTF-8", "serverConnectionKey=%FF"},
    {"data: no Base64", "data=Zm9!"},
    {"data: URL alphabet", "data=--__"},
    {"data: a blank", "data=Zm 9v"},
    {"number: a blank before it", "deviceType= 5"},
    {"number: a blank after it", "deviceType=5 "},
    {"number: a plus sign", "deviceType=+5"},
    {"number: another minus sign", "deviceType=\u22125"},
    {"number: only a minus sign", "deviceType=-"},
    {"number: two minus signs", "deviceType=--5"},
    {"data: padding in the middle", "data=Zg==Zm9v"},
    {"data: padding alone", "data=="},
    {"data: too much padding", "data=Z==="},
    {"data: cut off after one character", "data=Zm9vY"},
    {"data: cut off before its padding", "data=Zm9vYg"},
    {"data: no Latin-1", "data=\u65E5\u65E5\u65E5\u65E5"},
    {"data length: empty", "dataLength="},
    {"data length: negative", "dataLength=-1"},
    {"data length: a word", "dataLength=four"},
    {"data length: too small", "dataLength=3"},
    {"data length: too large", "dataLength=5"},
    {"data length: above its range", "dataLength=4294967300"},
    {"read/write code: another", "readWriteCode=1"},
    {"read/write code: a plain package's", "readWriteCode=-1"},
    {"read/write code: empty", "readWriteCode="},
    {"read/write code: a word", "readWriteCode=read"},
    {"client package type: another", "clientPackageType=1"},
    {"client package type: empty", "clientPackageType="},
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

/// Bad texts, and what is kept of them.
class tst_PackageTextBad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheGoodFieldsOfABadText_data();
    void keepsTheGoodFieldsOfABadText();
    void reportsABadFieldWhereverItStands_data();
    void reportsABadFieldWhereverItStands();
    void overrulesAGoodResultInABadText();
    void reportsAnEmptyText();
    void reportsABadFieldThatAGoodOneFollows();
    void comparesTheDataLengthWhereverItStands_data();
    void comparesTheDataLengthWhereverItStands();
    void readsAgainAfterABadText();
};

void tst_PackageTextBad::keepsTheGoodFieldsOfABadText_data()
{
    QTest::addColumn<QString>("bad");
    for (const FieldRow &row : BadFields)
        QTest::newRow(row.name) << field(row.field);
}

void tst_PackageTextBad::keepsTheGoodFieldsOfABadText()
{
    QFETCH(QString, bad);
    PackageRequestReadData expected;
    prepare(&expected);
    expected.fromString(QStringLiteral("serialNum=77"));
    expected.setReserved2(1);
    expected.setTag(QStringLiteral("good"));
    expected.setCommResult(TarnEnum::BadReply);

    PackageRequestReadData package;
    prepare(&package);
    package.fromString(QStringLiteral("serialNum=77;reserved2=1;tag=good;") + bad);
    // The length of the data is announced and compared; it has no value to keep.
    QCOMPARE(PackageKinds::describe(package), PackageKinds::describe(expected));
}

void tst_PackageTextBad::reportsABadFieldWhereverItStands_data()
{
    keepsTheGoodFieldsOfABadText_data();
}

void tst_PackageTextBad::reportsABadFieldWhereverItStands()
{
    QFETCH(QString, bad);
    const QString good = QStringLiteral("serialNum=77;reserved2=1");
    const QStringList texts{bad + QLatin1Char(';') + good,
                            QStringLiteral("serialNum=77;") + bad + QStringLiteral(";reserved2=1"),
                            good + QLatin1Char(';') + bad};
    for (const QString &text : texts) {
        PackageRequestReadData package;
        prepare(&package);
        package.fromString(text);
        QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
        QCOMPARE(package.getSerialNum(), Q_UINT64_C(77));
        QCOMPARE(package.getReserved2(), 1);
    }
}

void tst_PackageTextBad::overrulesAGoodResultInABadText()
{
    PackageRequestReadData package;
    package.fromString(QStringLiteral("commResult=0;portAddr=x"));
    QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
    package.fromString(QStringLiteral("portAddr=x;commResult=0"));
    QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
}

void tst_PackageTextBad::reportsAnEmptyText()
{
    for (const QString &text : {QString(), QStringLiteral("")}) {
        PackageRequestReadData package;
        prepare(&package);
        QStringList expected = PackageKinds::describe(package);
        expected.replaceInStrings(QStringLiteral("result: 0"), QStringLiteral("result: 5"));
        package.fromString(text);
        QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
        QCOMPARE(PackageKinds::describe(package), expected);
    }
}

void tst_PackageTextBad::reportsABadFieldThatAGoodOneFollows()
{
    PackageRequestReadData package;
    package.fromString(QStringLiteral("timeout=x;timeout=2"));
    QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
    QCOMPARE(package.getTimeout(), 2);
}

void tst_PackageTextBad::comparesTheDataLengthWhereverItStands_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isGood");
    QTest::newRow("before the data, right") << QStringLiteral("dataLength=3;data=Zm9v") << true;
    QTest::newRow("after the data, right") << QStringLiteral("data=Zm9v;dataLength=3") << true;
    QTest::newRow("before the data, wrong") << QStringLiteral("dataLength=2;data=Zm9v") << false;
    QTest::newRow("after the data, wrong") << QStringLiteral("data=Zm9v;dataLength=4") << false;
    QTest::newRow("no data, right") << QStringLiteral("dataLength=0;data=") << true;
    QTest::newRow("no data, wrong") << QStringLiteral("dataLength=1;data=") << false;
    QTest::newRow("not announced") << QStringLiteral("data=Zm9v") << true;
    QTest::newRow("only announced, as what is held") << QStringLiteral("dataLength=4") << true;
    QTest::newRow("only announced, otherwise") << QStringLiteral("dataLength=0") << false;
    QTest::newRow("the last announcement counts, right")
        << QStringLiteral("dataLength=9;data=Zm9v;dataLength=3") << true;
    QTest::newRow("the last announcement counts, wrong")
        << QStringLiteral("dataLength=3;data=Zm9v;dataLength=9") << false;
}

void tst_PackageTextBad::comparesTheDataLengthWhereverItStands()
{
    QFETCH(QString, text);
    QFETCH(bool, isGood);
    PackageRequestReadData package;
    prepare(&package);
    package.fromString(text + QStringLiteral(";serialNum=77"));
    QCOMPARE(package.getCommResult(), isGood ? TarnEnum::Success : TarnEnum::BadReply);
    QCOMPARE(package.getSerialNum(), Q_UINT64_C(77));
}

void tst_PackageTextBad::readsAgainAfterABadText()
{
    PackageRequestReadData package;
    package.fromString(QStringLiteral("serialNum=x"));
    QCOMPARE(package.getCommResult(), TarnEnum::BadReply);
    package.fromString(QStringLiteral("serialNum=77;commResult=0;dataLength=1;data=QQ=="));
    QCOMPARE(package.getCommResult(), TarnEnum::Success);
    QCOMPARE(package.getSerialNum(), Q_UINT64_C(77));
}

KSPROXY_TEST_MAIN(tst_PackageTextBad)
#include "tst_PackageTextBad.moc"
