#include "FrameReader.h"
#include "TestMain.h"
#include "WireBytes.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

QList<QByteArray> takeAll(FrameReader *reader)
{
    QList<QByteArray> frames;
    QByteArray payload;
    while (reader->takeFrame(&payload))
        frames.append(payload);
    return frames;
}

} // namespace

class tst_FrameReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesEachFrameOnceInOrder();
    void takesAFrameWithoutPayload();
    void waitsForTheRestOfAFrame_data();
    void waitsForTheRestOfAFrame();
    void takesTheSameFramesHoweverTheStreamIsSplit();
    void takesTheSameFramesFromRandomPieces();
    void keepsTheBeginningOfTheNextFrame();
    void acceptsAppendingWhileFramesAreTaken();
    void neverSatisfiesALengthFrom2To31_data();
    void neverSatisfiesALengthFrom2To31();
    void takesAWrappedLengthAsAnEmptyFrame_data();
    void takesAWrappedLengthAsAnEmptyFrame();
};

void tst_FrameReader::takesEachFrameOnceInOrder()
{
    FrameReader reader;
    reader.append(WireBytes::frame("one") + WireBytes::frame("two") + WireBytes::frame("three"));
    QCOMPARE(takeAll(&reader), (QList<QByteArray>{"one", "two", "three"}));
    QVERIFY(reader.isEmpty());
}

void tst_FrameReader::takesAFrameWithoutPayload()
{
    FrameReader reader;
    reader.append(QByteArray(4, '\0'));
    QByteArray payload("untouched");
    QVERIFY(reader.takeFrame(&payload));
    QVERIFY(payload.isEmpty());
    QVERIFY(!reader.takeFrame(&payload));
    QVERIFY(reader.isEmpty());
}

void tst_FrameReader::waitsForTheRestOfAFrame_data()
{
    QTest::addColumn<int>("arrived");
    const int size = WireBytes::frame("abc").size();
    for (int arrived = 0; arrived < size; ++arrived)
        QTest::addRow("%d of %d bytes", arrived, size) << arrived;
}

void tst_FrameReader::waitsForTheRestOfAFrame()
{
    QFETCH(int, arrived);
    const QByteArray frame = WireBytes::frame("abc");
    FrameReader reader;
    reader.append(frame.left(arrived));
    QVERIFY(takeAll(&reader).isEmpty());
    QCOMPARE(reader.pendingBytes(), arrived);
    reader.append(frame.mid(arrived));
    QCOMPARE(takeAll(&reader), QList<QByteArray>{"abc"});
}

void tst_FrameReader::takesTheSameFramesHoweverTheStreamIsSplit()
{
    const QList<QByteArray> expected{"first", "", QByteArray(300, 'x'), "last"};
    QByteArray stream;
    for (const QByteArray &payload : expected)
        stream += WireBytes::frame(payload);
    for (int split = 0; split <= stream.size(); ++split) {
        FrameReader reader;
        reader.append(stream.left(split));
        QList<QByteArray> frames = takeAll(&reader);
        reader.append(stream.mid(split));
        frames += takeAll(&reader);
        QVERIFY2(frames == expected, qPrintable(QStringLiteral("split at %1").arg(split)));
    }
}

void tst_FrameReader::takesTheSameFramesFromRandomPieces()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    for (int round = 0; round < 200; ++round) {
        QList<QByteArray> expected;
        QByteArray stream;
        for (int i = random.bounded(1, 40); i > 0; --i) {
            expected.append(
                QByteArray(random.bounded(600), static_cast<char>(random.bounded(256))));
            stream += WireBytes::frame(expected.last());
        }
        FrameReader reader;
        QList<QByteArray> frames;
        for (int position = 0; position < stream.size();) {
            const int piece = random.bounded(1, 200);
            reader.append(stream.mid(position, piece));
            position += piece;
            frames += takeAll(&reader);
        }
        QVERIFY2(frames == expected, qPrintable(QStringLiteral("round %1").arg(round)));
        QVERIFY(reader.isEmpty());
    }
}

void tst_FrameReader::keepsTheBeginningOfTheNextFrame()
{
    const QByteArray second = WireBytes::frame("second");
    FrameReader reader;
    reader.append(WireBytes::frame("first") + second.left(5));
    QCOMPARE(takeAll(&reader), QList<QByteArray>{"first"});
    QCOMPARE(reader.pendingBytes(), 5);
    reader.append(second.mid(5));
    QCOMPARE(takeAll(&reader), QList<QByteArray>{"second"});
}

void tst_FrameReader::acceptsAppendingWhileFramesAreTaken()
{
    FrameReader reader;
    reader.append(WireBytes::frame("1") + WireBytes::frame("2") + WireBytes::frame("3").left(2));
    QByteArray payload;
    QVERIFY(reader.takeFrame(&payload));
    QCOMPARE(payload, QByteArray("1"));
    reader.append(WireBytes::frame("3").mid(2) + WireBytes::frame("4"));
    QCOMPARE(takeAll(&reader), (QList<QByteArray>{"2", "3", "4"}));
}

void tst_FrameReader::neverSatisfiesALengthFrom2To31_data()
{
    QTest::addColumn<quint32>("length");
    QTest::newRow("2^31") << 0x80000000U;
    QTest::newRow("2^31 + 1") << 0x80000001U;
    QTest::newRow("2^32 - 6") << 0xFFFFFFFAU;
    QTest::newRow("2^32 - 5") << 0xFFFFFFFBU;
}

void tst_FrameReader::neverSatisfiesALengthFrom2To31()
{
    QFETCH(quint32, length);
    FrameReader reader;
    reader.append(WireBytes::lengthField(length));
    reader.append(WireBytes::frame("good"));
    QVERIFY(takeAll(&reader).isEmpty());
    QCOMPARE(reader.announcedLength(), length);
    reader.append(QByteArray(100000, 'x'));
    QVERIFY(takeAll(&reader).isEmpty());
    QCOMPARE(reader.pendingBytes(), 4 + 8 + 100000);
}

void tst_FrameReader::takesAWrappedLengthAsAnEmptyFrame_data()
{
    QTest::addColumn<quint32>("length");
    QTest::newRow("2^32 - 4") << 0xFFFFFFFCU;
    QTest::newRow("2^32 - 3") << 0xFFFFFFFDU;
    QTest::newRow("2^32 - 2") << 0xFFFFFFFEU;
    QTest::newRow("2^32 - 1") << 0xFFFFFFFFU;
}

void tst_FrameReader::takesAWrappedLengthAsAnEmptyFrame()
{
    QFETCH(quint32, length);
    FrameReader reader;
    reader.append(WireBytes::lengthField(length).left(3));
    QVERIFY(takeAll(&reader).isEmpty());
    reader.append(WireBytes::lengthField(length).mid(3) + WireBytes::frame("next"));
    QCOMPARE(takeAll(&reader), (QList<QByteArray>{"", "next"}));
    QVERIFY(reader.isEmpty());
}

KSPROXY_TEST_MAIN(tst_FrameReader)
#include "tst_FrameReader.moc"
