#include "ByteChanges.h"
#include "HexDump.h"
#include "HexText.h"
#include "NumberText.h"
#include "ProgressBar.h"
#include "RoundTrips.h"
#include "Suggestion.h"
#include "TestMain.h"
#include "TextTable.h"

#include <QTest>

/// What ksproxyctl makes of texts, and texts of.
class tst_CtlTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsNumbers_data();
    void readsNumbers();
    void refusesWhatIsNoNumber_data();
    void refusesWhatIsNoNumber();
    void writesAddresses();
    void readsHexDigits_data();
    void readsHexDigits();
    void saysWhereHexDigitsAreWrong_data();
    void saysWhereHexDigitsAreWrong();
    void dumpsLines_data();
    void dumpsLines();
    void dumpsManyLines();
    void measuresTheDistanceOfWords_data();
    void measuresTheDistanceOfWords();
    void suggestsTheNearestWord_data();
    void suggestsTheNearestWord();
    void alignsColumns();
    void findsChangedBytes();
    void summarizesRoundTrips();
    void summarizesFailuresAlone();
    void drawsProgress_data();
    void drawsProgress();
};

void tst_CtlTexts::readsNumbers_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("number");
    QTest::newRow("nothing") << QStringLiteral("0") << Q_INT64_C(0);
    QTest::newRow("decimal") << QStringLiteral("4096") << Q_INT64_C(4096);
    QTest::newRow("zeros in front do not make it octal") << QStringLiteral("010") << Q_INT64_C(10);
    QTest::newRow("hexadecimal") << QStringLiteral("0x1F") << Q_INT64_C(31);
    QTest::newRow("hexadecimal in capitals") << QStringLiteral("0XfF") << Q_INT64_C(255);
    QTest::newRow("negative") << QStringLiteral("-7") << Q_INT64_C(-7);
    QTest::newRow("negative hexadecimal") << QStringLiteral("-0x10") << Q_INT64_C(-16);
    QTest::newRow("the largest") << QStringLiteral("9223372036854775807")
                                 << std::numeric_limits<qint64>::max();
}

void tst_CtlTexts::readsNumbers()
{
    QFETCH(QString, text);
    const std::optional<qint64> number = NumberText::read(text);
    QVERIFY(number.has_value());
    QTEST(*number, "number");
}

void tst_CtlTexts::refusesWhatIsNoNumber_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"", "-", "0x", "1f", "x10", "+1", " 1", "1 ", "1.5", "1e3", "--1",
                             "0x-1", "0xg", "9223372036854775808", "ten"})
        QTest::newRow(text) << QString::fromLatin1(text);
}

void tst_CtlTexts::refusesWhatIsNoNumber()
{
    QFETCH(QString, text);
    QVERIFY(!NumberText::read(text).has_value());
}

void tst_CtlTexts::writesAddresses()
{
    QCOMPARE(NumberText::address(0x40), QStringLiteral("0x00000040"));
    QCOMPARE(NumberText::address(0xFEDCBA98), QStringLiteral("0xfedcba98"));
}

void tst_CtlTexts::readsHexDigits_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("nothing") << QString() << QByteArray();
    QTest::newRow("pairs without a gap") << QStringLiteral("48656C") << QByteArray("Hel");
    QTest::newRow("pairs with gaps") << QStringLiteral(" 48 65:6c\n") << QByteArray("Hel");
    QTest::newRow("zeros") << QStringLiteral("00 00") << QByteArray(2, '\0');
}

void tst_CtlTexts::readsHexDigits()
{
    QFETCH(QString, text);
    QByteArray data;
    QString problem;
    QVERIFY(HexText::read(text, &data, &problem));
    QVERIFY(problem.isEmpty());
    QTEST(data, "data");
}

void tst_CtlTexts::saysWhereHexDigitsAreWrong_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("place");
    QTest::newRow("one digit") << QStringLiteral("48 6") << QStringLiteral("\"6\" at character 4 ");
    QTest::newRow("a gap in a pair")
        << QStringLiteral("4 8") << QStringLiteral("\"4 \" at character 1 ");
    QTest::newRow("no digit") << QStringLiteral("48zz") << QStringLiteral("\"zz\" at character 3 ");
    QTest::newRow("a prefix") << QStringLiteral("0x48") << QStringLiteral("\"0x\" at character 1 ");
    QTest::newRow("a sign") << QStringLiteral("+1") << QStringLiteral("\"+1\" at character 1 ");
}

void tst_CtlTexts::saysWhereHexDigitsAreWrong()
{
    QFETCH(QString, text);
    QFETCH(QString, place);
    QByteArray data;
    QString problem;
    QVERIFY(!HexText::read(text, &data, &problem));
    QVERIFY2(problem.startsWith(place), qPrintable(problem));
}

void tst_CtlTexts::dumpsLines_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<quint32>("address");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("a full line") << QByteArray("Hello, equipment") << 0x40U
                                 << QByteArray("00000040  48 65 6c 6c 6f 2c 20 65  71 75 69 70 6d "
                                               "65 6e 74  |Hello, equipment|");
    QTest::newRow("a short line") << QByteArray("Hello") << 0U
                                  << QByteArray("00000000  48 65 6c 6c 6f                          "
                                                "          |Hello|");
    QTest::newRow("what cannot be printed")
        << QByteArray("\x00\x1f~\x7f\xff", 5) << 0xFFFFFFF0U
        << QByteArray("fffffff0  00 1f 7e 7f ff                                    |..~..|");
}

void tst_CtlTexts::dumpsLines()
{
    QFETCH(QByteArray, data);
    QFETCH(quint32, address);
    QTEST(HexDump::line(data, address), "line");
}

void tst_CtlTexts::dumpsManyLines()
{
    const QByteArray first = "0123456789abcdef";
    const QByteArray second = "ghi";
    QCOMPARE(HexDump::text(first + second, 8),
             HexDump::line(first, 8) + '\n' + HexDump::line(second, 24) + '\n');
    QVERIFY(HexDump::text(QByteArray(), 8).isEmpty());
}

void tst_CtlTexts::measuresTheDistanceOfWords_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("other");
    QTest::addColumn<int>("distance");
    QTest::newRow("equal") << QStringLiteral("list") << QStringLiteral("list") << 0;
    QTest::newRow("a letter too few") << QStringLiteral("lst") << QStringLiteral("list") << 1;
    QTest::newRow("a letter too many") << QStringLiteral("liist") << QStringLiteral("list") << 1;
    QTest::newRow("another letter") << QStringLiteral("lost") << QStringLiteral("list") << 1;
    QTest::newRow("neighbours swapped") << QStringLiteral("lsit") << QStringLiteral("list") << 1;
    QTest::newRow("nothing in common") << QStringLiteral("abc") << QStringLiteral("xyz") << 3;
    QTest::newRow("one empty") << QString() << QStringLiteral("list") << 4;
}

void tst_CtlTexts::measuresTheDistanceOfWords()
{
    QFETCH(QString, one);
    QFETCH(QString, other);
    QTEST(Suggestion::distance(one, other), "distance");
    QTEST(Suggestion::distance(other, one), "distance");
}

void tst_CtlTexts::suggestsTheNearestWord_data()
{
    QTest::addColumn<QString>("wrong");
    QTest::addColumn<QString>("right");
    QTest::newRow("a slip") << QStringLiteral("raed") << QStringLiteral("read");
    QTest::newRow("other letters' case") << QStringLiteral("READ") << QStringLiteral("read");
    QTest::newRow("two slips in a long word")
        << QStringLiteral("autoconect") << QStringLiteral("auto-connect");
    QTest::newRow("a slip in a short word") << QStringLiteral("onn") << QStringLiteral("on");
    QTest::newRow("too far") << QStringLiteral("frobnicate") << QString();
    QTest::newRow("every letter wrong") << QStringLiteral("x") << QString();
    QTest::newRow("nothing") << QString() << QString();
}

void tst_CtlTexts::suggestsTheNearestWord()
{
    const QStringList words{QStringLiteral("read"), QStringLiteral("write"), QStringLiteral("on"),
                            QStringLiteral("auto-connect")};
    QFETCH(QString, wrong);
    QFETCH(QString, right);
    QCOMPARE(Suggestion::nearest(wrong, words), right);
    QCOMPARE(Suggestion::question(wrong, words),
             right.isEmpty() ? QString() : QStringLiteral(" Did you mean \"%1\"?").arg(right));
}

void tst_CtlTexts::alignsColumns()
{
    TextTable table({QStringLiteral("KEY"), QStringLiteral("TEXT")});
    table.addRow({QStringLiteral("COM1/1"), QStringLiteral("Scan board")});
    table.addRow({QStringLiteral("C"), QStringLiteral("x")});
    QCOMPARE(table.text(), QStringLiteral("KEY     TEXT\nCOM1/1  Scan board\nC       x\n"));
}

void tst_CtlTexts::findsChangedBytes()
{
    QVERIFY(byteChanges("same", "same").isEmpty());
    const QVector<ByteChange> changes = byteChanges("abcdefg", "aXYdefZ");
    QCOMPARE(changes.size(), 2);
    QCOMPARE(changes.at(0).offset, 1);
    QCOMPARE(changes.at(0).before, QByteArray("bc"));
    QCOMPARE(changes.at(0).after, QByteArray("XY"));
    QCOMPARE(changes.at(1).offset, 6);
    QCOMPARE(changes.at(1).before, QByteArray("g"));
    QCOMPARE(changes.at(1).after, QByteArray("Z"));
}

void tst_CtlTexts::summarizesRoundTrips()
{
    RoundTrips trips;
    for (int i = 200; i >= 1; --i)
        trips.add(i);
    trips.addFailure();
    QCOMPARE(trips.text(),
             QStringLiteral("201 requests, 1 failed\nminimum 1.00, median 100.00, 99th percentile "
                            "198.00, maximum 200.00 ms\n"));
    const QJsonObject json = trips.json();
    QCOMPARE(json.value(QLatin1String("count")).toInt(), 201);
    QCOMPARE(json.value(QLatin1String("percentile99Ms")).toDouble(), 198.0);
}

void tst_CtlTexts::summarizesFailuresAlone()
{
    RoundTrips trips;
    trips.addFailure();
    QCOMPARE(trips.text(), QStringLiteral("1 requests, 1 failed\n"));
    QCOMPARE(trips.json().size(), 2);
}

void tst_CtlTexts::drawsProgress_data()
{
    QTest::addColumn<qint64>("done");
    QTest::addColumn<QString>("line");
    QTest::newRow("at the start") << Q_INT64_C(0)
                                  << QStringLiteral("[                    ]   0%  0 of 1024 bytes");
    QTest::newRow("half") << Q_INT64_C(512)
                          << QStringLiteral("[##########          ]  50%  512 of 1024 bytes");
    QTest::newRow("at the end") << Q_INT64_C(
        1024) << QStringLiteral("[####################] 100%  1024 of 1024 bytes");
}

void tst_CtlTexts::drawsProgress()
{
    QFETCH(qint64, done);
    QTEST(ProgressBar::line(done, 1024), "line");
}

KSPROXY_TEST_MAIN(tst_CtlTexts)
#include "tst_CtlTexts.moc"
