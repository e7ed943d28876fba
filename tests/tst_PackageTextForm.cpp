#include "PackageKinds.h"
#include "TestMain.h"

#include <QLocale>
#include <QTest>

#include <limits>

namespace {

/// The default locale is another one while it lives.
class OtherLocale
{
public:
    explicit OtherLocale(const QLocale &locale)
    {
        QLocale::setDefault(locale);
    }
    ~OtherLocale()
    {
        QLocale::setDefault(m_previous);
    }

private:
    Q_DISABLE_COPY_MOVE(OtherLocale)

    const QLocale m_previous;
};

bool isAscii(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() > 0x7E)
            return false;
    }
    return true;
}

QString emptyHeader(const PackageBase &package, const PackageKind &kind)
{
    return QStringLiteral("serialNum=%1;readWriteCode=%2;clientPackageType=%3;"
                          "serverConnectionKey=;deviceType=0;portAddr=0;scanBoardAddr=0;desAddr=0;"
                          "scrAddr=0;highAddr=0;lowAddr=0;reserved2=0;timeout=0;tag=")
        .arg(package.getSerialNum())
        .arg(kind.readWriteCode)
        .arg(kind.clientPackageType);
}

QString filledHeader(const PackageBase &package, const PackageKind &kind)
{
    return QStringLiteral("serialNum=%1;readWriteCode=%2;clientPackageType=%3;"
                          "serverConnectionKey=COM1;deviceType=101;portAddr=-102;"
                          "scanBoardAddr=-103;desAddr=104;scrAddr=-105;highAddr=60106;lowAddr=107;"
                          "reserved2=-108;timeout=109;tag=a%20tag")
        .arg(package.getSerialNum())
        .arg(kind.readWriteCode)
        .arg(kind.clientPackageType);
}

void addTexts()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("encoded");
    QTest::newRow("empty") << QStringLiteral("") << QByteArray("");
    QTest::newRow("what needs no encoding")
        << QStringLiteral("AZaz09-._~") << QByteArray("AZaz09-._~");
    QTest::newRow("separators") << QStringLiteral(";=,/") << QByteArray("%3B%3D%2C%2F");
    QTest::newRow("percent") << QStringLiteral("100%") << QByteArray("100%25");
    QTest::newRow("looks encoded already") << QStringLiteral("%3B") << QByteArray("%253B");
    QTest::newRow("plus and blank") << QStringLiteral("a+ b") << QByteArray("a%2B%20b");
    QTest::newRow("line ends") << QStringLiteral("a\r\nb\t") << QByteArray("a%0D%0Ab%09");
    QTest::newRow("a zero character inside")
        << QStringLiteral("a\0b").left(3) << QByteArray("a%00b");
    QTest::newRow("Latin-1") << QStringLiteral("\u00E4\u00FF") << QByteArray("%C3%A4%C3%BF");
    QTest::newRow("Chinese") << QStringLiteral("\u65E5\u672C") << QByteArray("%E6%97%A5%E6%9C%AC");
    QTest::newRow("Arabic digits") << QStringLiteral("\u0661") << QByteArray("%D9%A1");
    QTest::newRow("a surrogate pair") << QStringLiteral("\U0001F600") << QByteArray("%F0%9F%98%80");
    QTest::newRow("the last code point")
        << QStringLiteral("\U0010FFFF") << QByteArray("%F4%8F%BF%BF");
    QTest::newRow("no characters")
        << QString(QChar(0xFFFE)) + QChar(0xFFFF) << QByteArray("%EF%BF%BE%EF%BF%BF");
    QTest::newRow("a byte order mark alone") << QString(QChar(0xFEFF)) << QByteArray("%EF%BB%BF");
    QTest::newRow("a byte order mark first")
        << QString(QChar(0xFEFF)) + QLatin1Char('a') << QByteArray("%EF%BB%BFa");
    QTest::newRow("two byte order marks first")
        << QString(2, QChar(0xFEFF)) + QLatin1Char('a') << QByteArray("%EF%BB%BF%EF%BB%BFa");
    QTest::newRow("a byte order mark inside")
        << QString(QLatin1Char('a')) + QChar(0xFEFF) << QByteArray("a%EF%BB%BF");
    QTest::newRow("a combining mark stays apart")
        << QStringLiteral("a\u0308") << QByteArray("a%CC%88");
}

} // namespace

class tst_PackageTextForm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesANewRequest_data();
    void writesANewRequest();
    void writesEveryFieldOfARequest_data();
    void writesEveryFieldOfARequest();
    void writesANewReply_data();
    void writesANewReply();
    void writesEveryFieldOfAReply_data();
    void writesEveryFieldOfAReply();
    void writesIntegersOfAllSizes();
    void encodesTexts_data();
    void encodesTexts();
    void replacesALoneSurrogate_data();
    void replacesALoneSurrogate();
    void doesNotDependOnTheLocale_data();
    void doesNotDependOnTheLocale();
};

void tst_PackageTextForm::writesANewRequest_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextForm::writesANewRequest()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    const QString tail = kind.isRead() ? QStringLiteral(";readLength=0")
        : kind.isWrite()               ? QStringLiteral(";data=")
                                       : QString();
    QCOMPARE(package->toRequestString(), emptyHeader(*package, kind) + tail);
}

void tst_PackageTextForm::writesEveryFieldOfARequest_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextForm::writesEveryFieldOfARequest()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    PackageKinds::fill(package.get());
    const QString tail = kind.isRead() ? QStringLiteral(";readLength=110")
        : kind.isWrite()               ? QStringLiteral(";data=AAH+/w==")
                                       : QString();
    QCOMPARE(package->toRequestString(), filledHeader(*package, kind) + tail);
}

void tst_PackageTextForm::writesANewReply_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextForm::writesANewReply()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    QCOMPARE(package->toReplyString(),
             emptyHeader(*package, kind) + QStringLiteral(";commResult=0;dataLength=0;data="));
}

void tst_PackageTextForm::writesEveryFieldOfAReply_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextForm::writesEveryFieldOfAReply()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    PackageKinds::fill(package.get());
    QCOMPARE(package->toReplyString(),
             filledHeader(*package, kind)
                 + QStringLiteral(";commResult=2;dataLength=4;data=AAH+/w=="));
}

void tst_PackageTextForm::writesIntegersOfAllSizes()
{
    PackageRequestReadData package;
    package.setPortAddr(-128);
    package.setDesAddr(127);
    package.setHighAddr(65535);
    package.setDeviceType(std::numeric_limits<int>::min());
    package.setTimeout(std::numeric_limits<int>::max());
    package.setCommResult(static_cast<TarnEnum::CommResults>(-1));
    package.setReadLength(-7);
    const QString request = package.toRequestString();
    QVERIFY(request.contains(QStringLiteral(";portAddr=-128;")));
    QVERIFY(request.contains(QStringLiteral(";desAddr=127;")));
    QVERIFY(request.contains(QStringLiteral(";highAddr=65535;")));
    QVERIFY(request.contains(QStringLiteral(";deviceType=-2147483648;")));
    QVERIFY(request.contains(QStringLiteral(";timeout=2147483647;")));
    QVERIFY(request.endsWith(QStringLiteral(";readLength=-7")));
    QVERIFY(package.toReplyString().contains(QStringLiteral(";commResult=-1;")));
}

void tst_PackageTextForm::encodesTexts_data()
{
    addTexts();
}

void tst_PackageTextForm::encodesTexts()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, encoded);
    PackageBase package;
    package.setTag(text);
    package.setServerConnectionKey(text);
    const QString request = package.toRequestString();
    QVERIFY2(request.endsWith(QLatin1String(";tag=" + encoded)), qPrintable(request));
    QVERIFY2(request.contains(QLatin1String(";serverConnectionKey=" + encoded + ";")),
             qPrintable(request));
    QVERIFY(isAscii(request));
}

void tst_PackageTextForm::replacesALoneSurrogate_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("high, alone") << QString(QChar(0xD83D));
    QTest::newRow("low, alone") << QString(QChar(0xDE00));
    QTest::newRow("high at the end") << QStringLiteral("ab") + QChar(0xD83D);
    QTest::newRow("high before a letter") << QString(QChar(0xD83D)) + QLatin1Char('a');
    QTest::newRow("the pair the wrong way round") << QString(QChar(0xDE00)) + QChar(0xD83D);
}

void tst_PackageTextForm::replacesALoneSurrogate()
{
    QFETCH(QString, text);
    QString expected = text;
    for (QChar &c : expected) {
        if (c.isSurrogate())
            c = QLatin1Char('?');
    }
    PackageRequestReadData sent;
    sent.setTag(text);
    QVERIFY(isAscii(sent.toReplyString()));
    PackageRequestReadData received;
    received.fromString(sent.toReplyString());
    QCOMPARE(received.getCommResult(), TarnEnum::Success);
    QCOMPARE(received.getTag(), expected);
}

void tst_PackageTextForm::doesNotDependOnTheLocale_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::newRow("German") << QLocale(QLocale::German, QLocale::Germany);
    QTest::newRow("Arabic") << QLocale(QLocale::Arabic, QLocale::Egypt);
    QTest::newRow("Persian") << QLocale(QLocale::Persian, QLocale::Iran);
    QTest::newRow("Swedish") << QLocale(QLocale::Swedish, QLocale::Sweden);
}

void tst_PackageTextForm::doesNotDependOnTheLocale()
{
    QFETCH(QLocale, locale);
    PackageRequestReadData sent;
    PackageKinds::fill(&sent);
    sent.setDeviceType(-1234567);
    const QString request = sent.toRequestString();
    const QString reply = sent.toReplyString();
    const QStringList before = PackageKinds::describe(sent);
    const OtherLocale other(locale);
    QCOMPARE(sent.toRequestString(), request);
    QCOMPARE(sent.toReplyString(), reply);
    PackageRequestReadData received;
    received.setReadLength(110);
    received.fromString(reply);
    QCOMPARE(received.getDeviceType(), -1234567);
    QCOMPARE(PackageKinds::describe(received), before);
}

KSPROXY_TEST_MAIN(tst_PackageTextForm)
#include "tst_PackageTextForm.moc"
