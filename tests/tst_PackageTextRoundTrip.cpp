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

/// Texts that are written and read again.
class tst_PackageTextRoundTrip : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bringsTextsBack_data();
    void bringsTextsBack();
    void bringsAReplyBack_data();
    void bringsAReplyBack();
    void bringsARequestBack_data();
    void bringsARequestBack();
    void bringsTheEndsOfAllRangesBack_data();
    void bringsTheEndsOfAllRangesBack();
    void bringsDataBack_data();
    void bringsDataBack();
    void keepsWhatDoesNotTravel();
};

void tst_PackageTextRoundTrip::bringsTextsBack_data()
{
    addTexts();
}

void tst_PackageTextRoundTrip::bringsTextsBack()
{
    QFETCH(QString, text);
    PackageRequestReadData sent;
    sent.setTag(text);
    sent.setServerConnectionKey(text + text);
    PackageRequestReadData received;
    received.setTag(QStringLiteral("something else before"));
    received.fromString(sent.toReplyString());
    QCOMPARE(received.getCommResult(), TarnEnum::Success);
    QCOMPARE(received.getTag(), text);
    QCOMPARE(received.getSeverConnectionKey(), text + text);
}

void tst_PackageTextRoundTrip::bringsAReplyBack_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextRoundTrip::bringsAReplyBack()
{
    QFETCH(PackageKind, kind);
    const auto sent = kind.make();
    PackageKinds::fill(sent.get());
    const auto received = kind.make();
    if (auto *const read = dynamic_cast<PackageRequestRead *>(received.get()))
        read->setReadLength(110); // a reply does not carry it
    received->fromString(sent->toReplyString());
    QCOMPARE(PackageKinds::describe(*received), PackageKinds::describe(*sent));
    QCOMPARE(received->toReplyString(), sent->toReplyString());
}

void tst_PackageTextRoundTrip::bringsARequestBack_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextRoundTrip::bringsARequestBack()
{
    QFETCH(PackageKind, kind);
    const auto sent = kind.make();
    PackageKinds::fill(sent.get());
    const auto received = kind.make();
    received->setCommResult(sent->getCommResult()); // a request does not carry it
    if (!kind.isWrite())
        received->setData(sent->getData());
    received->fromString(sent->toRequestString());
    QCOMPARE(PackageKinds::describe(*received), PackageKinds::describe(*sent));
    QCOMPARE(received->toRequestString(), sent->toRequestString());
}

void tst_PackageTextRoundTrip::bringsTheEndsOfAllRangesBack_data()
{
    QTest::addColumn<bool>("isLargest");
    QTest::newRow("smallest") << false;
    QTest::newRow("largest") << true;
}

void tst_PackageTextRoundTrip::bringsTheEndsOfAllRangesBack()
{
    QFETCH(bool, isLargest);
    const auto end = [isLargest](auto zero) {
        using Limits = std::numeric_limits<decltype(zero)>;
        return isLargest ? Limits::max() : Limits::min();
    };
    PackageRequestReadFile sent;
    sent.setHighAddr(end(quint16()));
    sent.setLowAddr(end(quint16()));
    sent.setDesAddr(end(qint8()));
    sent.setPortAddr(end(qint8()));
    sent.setScrAddr(end(qint8()));
    sent.setDeviceType(end(0));
    sent.setReserved2(end(0));
    sent.setScanBoardAddr(end(0));
    sent.setTimeout(end(0));
    sent.setReadLength(end(0));
    sent.setCommResult(static_cast<TarnEnum::CommResults>(end(0)));
    sent.fromString(QStringLiteral("serialNum=%1").arg(end(quint64())));
    QCOMPARE(sent.getSerialNum(), end(quint64()));
    PackageRequestReadFile received;
    PackageKinds::fill(&received);
    received.setData(QByteArray());
    received.fromString(sent.toReplyString());
    received.fromString(sent.toRequestString());
    QStringList expected = PackageKinds::describe(sent);
    expected.replaceInStrings(QStringLiteral("connection key: COM1"),
                              QStringLiteral("connection key: "));
    QCOMPARE(PackageKinds::describe(received), expected);
}

void tst_PackageTextRoundTrip::bringsDataBack_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("encoded");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("one byte") << QByteArray("f") << QByteArray("Zg==");
    QTest::newRow("two bytes") << QByteArray("fo") << QByteArray("Zm8=");
    QTest::newRow("three bytes") << QByteArray("foo") << QByteArray("Zm9v");
    QTest::newRow("four bytes") << QByteArray("foob") << QByteArray("Zm9vYg==");
    QTest::newRow("zero bytes") << QByteArray(3, '\0') << QByteArray("AAAA");
    QTest::newRow("plus and slash") << QByteArray("\xFB\xEF\xFF") << QByteArray("++//");
    const QByteArray large(300000, '\xFF');
    QTest::newRow("300000 bytes") << large << QByteArray(400000, '/');
}

void tst_PackageTextRoundTrip::bringsDataBack()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, encoded);
    PackageRequestWriteData sent;
    sent.setData(data);
    QVERIFY(sent.toRequestString().endsWith(QLatin1String(";data=" + encoded)));
    QVERIFY(sent.toReplyString().endsWith(
        QLatin1String(";dataLength=" + QByteArray::number(data.size()) + ";data=" + encoded)));
    PackageRequestWriteData received;
    received.setData("something else before");
    received.fromString(sent.toReplyString());
    QCOMPARE(received.getCommResult(), TarnEnum::Success);
    QCOMPARE(received.getData(), data);
    received.setData("something else before");
    received.fromString(sent.toRequestString());
    QCOMPARE(received.getData(), data);
}

void tst_PackageTextRoundTrip::keepsWhatDoesNotTravel()
{
    int sentToken = 0;
    int ownToken = 0;
    PackageRequestReadData sent;
    sent.setUserToken(&sentToken);
    sent.setReplyDataLength(5);
    PackageRequestReadData received;
    received.setUserToken(&ownToken);
    received.setReplyDataLength(6);
    received.fromString(sent.toReplyString());
    QCOMPARE(received.getUserToken(), static_cast<void *>(&ownToken));
    QCOMPARE(received.getReplyDataLength(), 6);
    sent.setUserToken(nullptr);
    const QString without = sent.toRequestString();
    sent.setUserToken(&sentToken);
    QCOMPARE(sent.toRequestString(), without);
}

KSPROXY_TEST_MAIN(tst_PackageTextRoundTrip)
#include "tst_PackageTextRoundTrip.moc"
