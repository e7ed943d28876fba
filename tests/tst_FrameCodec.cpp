#include "FrameCodec.h"
#include "TestMain.h"
#include "WireBytes.h"

#include <QTest>

#include <vector>

class tst_FrameCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putsTheLengthBeforeThePayload_data();
    void putsTheLengthBeforeThePayload();
    void keepsThePayloadAsItIs();
    void readsALength_data();
    void readsALength();
    void takesMissingBytesAsZero_data();
    void takesMissingBytesAsZero();
    void looksAtNoMoreThanFourBytes();
};

void tst_FrameCodec::putsTheLengthBeforeThePayload_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("prefix");
    QTest::newRow("no payload") << 0 << QByteArray("\0\0\0\0", 4);
    QTest::newRow("one byte") << 1 << QByteArray("\1\0\0\0", 4);
    QTest::newRow("length above 127") << 0x80 << QByteArray("\x80\0\0\0", 4);
    QTest::newRow("all that one length byte holds") << 0xFF << QByteArray("\xFF\0\0\0", 4);
    QTest::newRow("first use of the second byte") << 0x100 << QByteArray("\0\1\0\0", 4);
    QTest::newRow("first use of the third byte") << 0x10000 << QByteArray("\0\0\1\0", 4);
    QTest::newRow("three different bytes") << 0x010203 << QByteArray("\3\2\1\0", 4);
    QTest::newRow("first use of the fourth byte") << 0x1000000 << QByteArray("\0\0\0\1", 4);
}

void tst_FrameCodec::putsTheLengthBeforeThePayload()
{
    QFETCH(int, size);
    QFETCH(QByteArray, prefix);
    const QByteArray frame = FrameCodec::encode(QByteArray(size, 'p'));
    QCOMPARE(frame.size(), FrameCodec::LengthBytes + size);
    QCOMPARE(frame.left(4), prefix);
    QCOMPARE(frame.mid(4).count('p'), size);
}

void tst_FrameCodec::keepsThePayloadAsItIs()
{
    QByteArray payload;
    for (int code = 0; code <= 0xFF; ++code)
        payload.append(static_cast<char>(code));
    QCOMPARE(FrameCodec::encode(payload), WireBytes::frame(payload));
    QCOMPARE(FrameCodec::encode(QByteArray("\0\0", 2)), QByteArray("\2\0\0\0\0\0", 6));
}

void tst_FrameCodec::readsALength_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint32>("length");
    QTest::newRow("zero") << QByteArray("\0\0\0\0", 4) << 0U;
    QTest::newRow("four different bytes") << QByteArray("\4\3\2\1", 4) << 0x01020304U;
    QTest::newRow("bytes above 127 add no sign")
        << QByteArray("\x80\x81\x82\x03", 4) << 0x03828180U;
    QTest::newRow("largest signed") << QByteArray("\xFF\xFF\xFF\x7F", 4) << 0x7FFFFFFFU;
    QTest::newRow("2^31") << QByteArray("\0\0\0\x80", 4) << 0x80000000U;
    QTest::newRow("largest") << QByteArray("\xFF\xFF\xFF\xFF", 4) << 0xFFFFFFFFU;
}

void tst_FrameCodec::readsALength()
{
    QFETCH(QByteArray, bytes);
    QFETCH(quint32, length);
    QCOMPARE(FrameCodec::decodeLength(bytes.constData(), bytes.size()), length);
}

void tst_FrameCodec::takesMissingBytesAsZero_data()
{
    QTest::addColumn<int>("available");
    QTest::addColumn<quint32>("length");
    QTest::newRow("nothing has arrived") << 0 << 0U;
    QTest::newRow("one byte") << 1 << 0x000000F4U;
    QTest::newRow("two bytes") << 2 << 0x0000F3F4U;
    QTest::newRow("three bytes") << 3 << 0x00F2F3F4U;
    QTest::newRow("all four") << 4 << 0xF1F2F3F4U;
}

void tst_FrameCodec::takesMissingBytesAsZero()
{
    QFETCH(int, available);
    QFETCH(quint32, length);
    QCOMPARE(FrameCodec::decodeLength("\xF4\xF3\xF2\xF1", available), length);
    // The bytes on the heap end where they have arrived, so that a sanitizer sees a longer look.
    const QByteArray whole("\xF4\xF3\xF2\xF1");
    const std::vector<char> arrived(whole.constData(), whole.constData() + available);
    QCOMPARE(FrameCodec::decodeLength(arrived.data(), available), length);
}

void tst_FrameCodec::looksAtNoMoreThanFourBytes()
{
    const QByteArray frame = WireBytes::frame(QByteArray(3, '\xFF'));
    QCOMPARE(FrameCodec::decodeLength(frame.constData(), frame.size()), 3U);
}

KSPROXY_TEST_MAIN(tst_FrameCodec)
#include "tst_FrameCodec.moc"
