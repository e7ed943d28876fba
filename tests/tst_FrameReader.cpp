#include "FrameReader.h"
#include "TestMain.h"
#include "WireBytes.h"

#include <QRandomGenerator>
#include <QTest>

#include <climits>
#include <cstring>
#include <iterator>

namespace {

QList<QByteArray> takeAll(FrameReader *reader)
{
    QList<QByteArray> frames;
    QByteArray payload;
    while (reader->takeFrame(&payload))
        frames.append(payload);
    return frames;
}

// As a socket would: into the room that the reader gives, however small.
void readInto(FrameReader *reader, const QByteArray &stream, int *position, int available)
{
    const FrameReader::Room room = reader->room(available);
    QVERIFY(room.size > 0);
    QVERIFY(room.size <= available);
    std::memcpy(room.data, stream.constData() + *position, room.size);
    reader->commit(room.size);
    *position += room.size;
}

struct Stream
{
    QList<QByteArray> payloads;
    QByteArray bytes;
};

// Frames of all kinds of length, around those at which the reader changes its ways.
Stream randomStream(QRandomGenerator *random)
{
    constexpr int Lengths[] = {0, 1, 16, 600, 4096, 5000, 8187, 8191, 8192, 8193, 65536, 200000};
    Stream stream;
    for (int i = random->bounded(1, 12); i > 0; --i) {
        const int length = Lengths[random->bounded(int(std::size(Lengths)))] + random->bounded(3);
        QByteArray payload(length, Qt::Uninitialized);
        for (char &byte : payload)
            byte = static_cast<char>(random->bounded(256));
        stream.payloads.append(payload);
        stream.bytes += WireBytes::frame(payload);
    }
    return stream;
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
    void takesTheSameFramesReadIntoItsRoom_data();
    void takesTheSameFramesReadIntoItsRoom();
    void takesFramesThatWereAllReadBefore();
    void keepsTheBeginningOfTheNextFrame();
    void handsOutPayloadsThatStayAsTheyAre();
    void handsOutNoMoreMemoryThanAPayloadNeeds();
    void holdsLittleForALengthThatWasOnlyAnnounced();
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

void tst_FrameReader::takesTheSameFramesReadIntoItsRoom_data()
{
    QTest::addColumn<int>("longestPiece");
    QTest::newRow("single bytes") << 1;
    QTest::newRow("small pieces") << 50;
    QTest::newRow("pieces of a read") << 65536;
    QTest::newRow("everything at once") << INT_MAX;
}

void tst_FrameReader::takesTheSameFramesReadIntoItsRoom()
{
    QFETCH(int, longestPiece);
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    for (int round = 0; round < (longestPiece > 1 ? 100 : 5); ++round) {
        const Stream stream = randomStream(&random);
        FrameReader reader;
        QList<QByteArray> frames;
        for (int position = 0; position < stream.bytes.size();) {
            const int left = stream.bytes.size() - position;
            const int before = position;
            readInto(&reader, stream.bytes, &position,
                     qMin(left, longestPiece == 1 ? 1 : random.bounded(1, longestPiece)));
            QVERIFY(position > before);
            frames += takeAll(&reader);
        }
        QVERIFY2(frames == stream.payloads, qPrintable(QStringLiteral("round %1").arg(round)));
        QVERIFY(reader.isEmpty());
    }
}

// What a receiver that disconnects makes the client do.
void tst_FrameReader::takesFramesThatWereAllReadBefore()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    for (int round = 0; round < 100; ++round) {
        const Stream stream = randomStream(&random);
        FrameReader reader;
        for (int position = 0; position < stream.bytes.size();) {
            const int left = stream.bytes.size() - position;
            if (random.bounded(2) == 0) {
                readInto(&reader, stream.bytes, &position, qMin(left, random.bounded(1, 70000)));
            } else {
                const QByteArray piece = stream.bytes.mid(position, random.bounded(1, 70000));
                reader.append(piece);
                position += piece.size();
            }
            QCOMPARE(reader.pendingBytes(), position);
        }
        QVERIFY2(takeAll(&reader) == stream.payloads, qPrintable(QString::number(round)));
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

// The memory of a payload is used again only where nobody holds it.
void tst_FrameReader::handsOutPayloadsThatStayAsTheyAre()
{
    FrameReader reader;
    const QByteArray chunk = WireBytes::frame("first") + WireBytes::frame("other")
        + WireBytes::frame(QByteArray(5000, 'x')) + WireBytes::frame(QByteArray(5000, 'y'));
    reader.append(chunk);
    QByteArray payload;
    QVERIFY(reader.takeFrame(&payload));
    const QByteArray kept = payload;
    QVERIFY(reader.takeFrame(&payload));
    QCOMPARE(kept, QByteArray("first"));
    QCOMPARE(payload, QByteArray("other"));
    QVERIFY(reader.takeFrame(&payload));
    const QByteArray keptLong = payload;
    QVERIFY(reader.takeFrame(&payload));
    QCOMPARE(keptLong, QByteArray(5000, 'x'));
    QCOMPARE(payload, QByteArray(5000, 'y'));
    QCOMPARE(chunk.left(9), WireBytes::frame("first"));
}

void tst_FrameReader::handsOutNoMoreMemoryThanAPayloadNeeds()
{
    constexpr int LongLength = 3 * 1024 * 1024 + 5;
    const QByteArray stream
        = WireBytes::frame(QByteArray(LongLength, 'x')) + WireBytes::frame("short");
    FrameReader reader;
    QByteArray payload;
    for (int position = 0; position < stream.size() - 9;)
        readInto(&reader, stream, &position, qMin(70000, stream.size() - 9 - position));
    QVERIFY(reader.takeFrame(&payload));
    QCOMPARE(payload.size(), LongLength);
    QCOMPARE(payload.capacity(), LongLength);
    reader.append(stream.right(9));
    QVERIFY(reader.takeFrame(&payload));
    QCOMPARE(payload, QByteArray("short"));
    QVERIFY2(payload.capacity() < 100, qPrintable(QString::number(payload.capacity())));
}

void tst_FrameReader::holdsLittleForALengthThatWasOnlyAnnounced()
{
    constexpr int Little = 2 * 1024 * 1024;
    FrameReader reader;
    reader.append(WireBytes::lengthField(0x7FFFFF00U));
    const FrameReader::Room room = reader.room(INT_MAX);
    QVERIFY2(room.size < Little, qPrintable(QString::number(room.size)));
    QCOMPARE(reader.pendingBytes(), 4);
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
