#include "MessageBody.h"
#include "TarnEnum.h"
#include "TestMain.h"
#include "WireBytes.h"

#include <QTest>

class tst_MessageBody : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putsTheIdBeforeTheText_data();
    void putsTheIdBeforeTheText();
    void keepsEveryLatin1Character();
    void replacesWhatLatin1DoesNotHave_data();
    void replacesWhatLatin1DoesNotHave();
    void readsTheIdWithItsSign();
    void takesTheRestAsBytes_data();
    void takesTheRestAsBytes();
    void takesTheRestAsText_data();
    void takesTheRestAsText();
    void makesEachByteTheCharacterOfItsCode();
    void leavesTheBodyAlone();
};

void tst_MessageBody::putsTheIdBeforeTheText_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("id 0 with text") << 0 << QStringLiteral("AB") << QByteArray("\0AB", 3);
    QTest::newRow("no text at all") << 5 << QString() << QByteArray("\5");
    QTest::newRow("empty text") << 5 << QStringLiteral("") << QByteArray("\5");
    QTest::newRow("higher bits are dropped") << 0x105 << QStringLiteral("AB") << QByteArray("\5AB");
    QTest::newRow("only higher bits") << 0x7FFFFF00 << QStringLiteral("A") << QByteArray("\0A", 2);
    QTest::newRow("largest byte") << 0xFF << QStringLiteral("A")
                                  << QByteArray("\xFF"
                                                "A");
    QTest::newRow("negative id") << -1 << QStringLiteral("A")
                                 << QByteArray("\xFF"
                                               "A");
    QTest::newRow("id above 127") << 0x80 << QStringLiteral("A")
                                  << QByteArray("\x80"
                                                "A");
    QTest::newRow("text with a zero character")
        << 7 << QStringLiteral("a\0b").left(3) << QByteArray("\7a\0b", 4);
    QTest::newRow("text that is one zero character")
        << 7 << QString(QChar(0)) << QByteArray("\7\0", 2);
    QTest::newRow("an outgoing command") << int(TarnEnum::AutoConnectSwitch) << QStringLiteral("1")
                                         << QByteArray("\x13"
                                                       "1");
}

void tst_MessageBody::putsTheIdBeforeTheText()
{
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QByteArray, body);
    QCOMPARE(MessageBody::encode(id, text), body);
}

void tst_MessageBody::keepsEveryLatin1Character()
{
    QString text;
    QByteArray bytes;
    for (int code = 0; code <= 0xFF; ++code) {
        text.append(QChar(code));
        bytes.append(static_cast<char>(code));
    }
    QCOMPARE(MessageBody::encode(1, text), WireBytes::body(1, bytes));
}

void tst_MessageBody::replacesWhatLatin1DoesNotHave_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("the last that fits") << QString(QChar(0xFF)) << QByteArray("\xFF");
    QTest::newRow("the first that does not") << QString(QChar(0x100)) << QByteArray("?");
    QTest::newRow("low byte of zero") << QString(QChar(0x4100)) << QByteArray("?");
    QTest::newRow("in the middle") << QStringLiteral("a\u20ACb") << QByteArray("a?b");
    QTest::newRow("one for each half of a pair")
        << QStringLiteral("\U0001F600") << QByteArray("??");
    QTest::newRow("lone high surrogate") << QString(QChar(0xD800)) << QByteArray("?");
    QTest::newRow("byte order mark") << QString(QChar(0xFEFF)) << QByteArray("?");
    QTest::newRow("long enough for a vectored conversion") << QString(40, QChar(0x20AC))
            + QString(40, QLatin1Char('x')) << QByteArray(40, '?') + QByteArray(40, 'x');
}

void tst_MessageBody::replacesWhatLatin1DoesNotHave()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, sent);
    QCOMPARE(MessageBody::encode(9, text), WireBytes::body(9, sent));
}

void tst_MessageBody::readsTheIdWithItsSign()
{
    for (int byte = 0; byte <= 0xFF; ++byte)
        QCOMPARE(MessageBody::id(WireBytes::body(byte, "data")), byte < 0x80 ? byte : byte - 0x100);
    QCOMPARE(MessageBody::id("\x05"), 5);
    QCOMPARE(MessageBody::id("\xFF"), -1);
    QCOMPARE(MessageBody::id("\x80"), -128);
}

void tst_MessageBody::takesTheRestAsBytes_data()
{
    QTest::addColumn<QByteArray>("rest");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("zero bytes inside") << QByteArray("\0a\0\0b\0", 6);
    QTest::newRow("bytes above 127") << QByteArray("\x80\xC3\xA4\xFF");
    QTest::newRow("100000 bytes") << QByteArray(100000, '\xAB');
}

void tst_MessageBody::takesTheRestAsBytes()
{
    QFETCH(QByteArray, rest);
    QCOMPARE(MessageBody::bytes(WireBytes::body(12, rest)), rest);
}

void tst_MessageBody::takesTheRestAsText_data()
{
    QTest::addColumn<QByteArray>("rest");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("plain text") << QByteArray("COM1") << QStringLiteral("COM1");
    QTest::newRow("a zero byte inside") << QByteArray("a\0b", 3) << QStringLiteral("a\0b").left(3);
    QTest::newRow("a zero byte first") << QByteArray("\0b", 2) << QStringLiteral("\0b").left(2);
    QTest::newRow("a zero byte last") << QByteArray("b\0", 2) << QStringLiteral("b\0").left(2);
    QTest::newRow("never read as UTF-8")
        << QByteArray("\xC3\xA4") << QStringLiteral("\u00C3\u00A4");
}

void tst_MessageBody::takesTheRestAsText()
{
    QFETCH(QByteArray, rest);
    QFETCH(QString, text);
    const QString taken = MessageBody::text(WireBytes::body(0, rest));
    QCOMPARE(taken, text);
    QCOMPARE(taken.size(), rest.size());
}

void tst_MessageBody::makesEachByteTheCharacterOfItsCode()
{
    QByteArray rest;
    for (int code = 0; code <= 0xFF; ++code)
        rest.append(static_cast<char>(code));
    const QString text = MessageBody::text(WireBytes::body(0x13, rest));
    QCOMPARE(text.size(), 0x100);
    for (int code = 0; code <= 0xFF; ++code)
        QCOMPARE(text.at(code), QChar(code));
}

void tst_MessageBody::leavesTheBodyAlone()
{
    const QByteArray body = WireBytes::body(12, "data");
    QByteArray bytes = MessageBody::bytes(body);
    bytes[0] = 'D';
    QString text = MessageBody::text(body);
    text[0] = QLatin1Char('D');
    QCOMPARE(body,
             QByteArray("\x0C"
                        "data"));
}

KSPROXY_TEST_MAIN(tst_MessageBody)
#include "tst_MessageBody.moc"
