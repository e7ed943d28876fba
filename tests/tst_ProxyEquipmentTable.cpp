#include "LogCapture.h"
#include "TestMain.h"
#include "TestProxy.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <random>

namespace {

/// Parses \a text and gives the one entry that must come of it.
EquipmentInfo onlyEntry(const TestProxy &proxy, const QString &text)
{
    if (!proxy->ParseEquipmentTable(text) || proxy->equipmentTable().size() != 1)
        QTest::qFail("not one entry", __FILE__, __LINE__);
    return proxy->equipmentTable().isEmpty() ? EquipmentInfo() : proxy->equipmentTable().first();
}

/// Puts an entry into the table that each parse must replace.
void loadOldTable(const TestProxy &proxy)
{
    EquipmentInfo old;
    old.text = QStringLiteral("old");
    proxy->setEquipmentTable({{QStringLiteral("old"), old}, {QStringLiteral("k1"), old}});
}

} // namespace

class tst_ProxyEquipmentTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clearsTheTableForAnEmptyText_data();
    void clearsTheTableForAnEmptyText();
    void takesTheFieldsOfARecord();
    void keepsTheDefaultsOfWhatIsNotSent();
    void findsTheRecords_data();
    void findsTheRecords();
    void readsIntegersAsDecimal_data();
    void readsIntegersAsDecimal();
    void unescapesKeysOnly_data();
    void unescapesKeysOnly();
    void lastRecordOfAKeyWins();
    void makesTheSameTableOfRecordsInAnyOrder();
    void emptyFieldsAreEmptyTextsAndNotNull();
    void keepsWhatIsBeyondAscii();
    void replacesTheWholeTable();
    void readsAHundredThousandRecords();
};

void tst_ProxyEquipmentTable::clearsTheTableForAnEmptyText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("null") << QString();
}

void tst_ProxyEquipmentTable::clearsTheTableForAnEmptyText()
{
    QFETCH(QString, text);
    const TestProxy proxy;
    loadOldTable(proxy);
    const LogCapture log;
    QVERIFY(!proxy->ParseEquipmentTable(text));
    QVERIFY(proxy->equipmentTable().isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyEquipmentTable::takesTheFieldsOfARecord()
{
    const TestProxy proxy;
    loadOldTable(proxy);
    const LogCapture log;
    const EquipmentInfo entry = onlyEntry(proxy, QStringLiteral("k1/1/2/A/5,x/y"));
    QCOMPARE(proxy->equipmentTable().firstKey(), QStringLiteral("k1"));
    QCOMPARE(entry.shortValue, qint16(1));
    QCOMPARE(entry.longValue, qint64(2));
    QCOMPARE(entry.text, QStringLiteral("A"));
    QCOMPARE(entry.intValue, 5);
    QCOMPARE(entry.connectionKey, QStringLiteral("k1"));
    QCOMPARE(entry.connectionKeyCopy, QStringLiteral("k1"));
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyEquipmentTable::keepsTheDefaultsOfWhatIsNotSent()
{
    const TestProxy proxy;
    const EquipmentInfo entry = onlyEntry(proxy, QStringLiteral("k1/1/2/A/5"));
    QVERIFY(!entry.flag);
    QCOMPARE(entry.extraInt, 0);
    QCOMPARE(entry.extraValue, qint64(0));
    QVERIFY(entry.children.isEmpty());
    QCOMPARE(entry.lanInfo.number, 0);
    for (const QString &text : {entry.extraText, entry.extraText2, entry.extraText3,
                                entry.lanInfo.text1, entry.lanInfo.text2, entry.lanInfo.text3}) {
        QVERIFY(text.isEmpty());
        QVERIFY(!text.isNull());
    }
}

void tst_ProxyEquipmentTable::findsTheRecords_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("keys");
    const auto row = [](const char *name, const char *text, const QStringList &keys) {
        QTest::newRow(name) << QString::fromLatin1(text) << keys;
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    row("one comma", ",", {});
    row("only commas", ",,,,", {});
    row("only slashes short of a record", "///", {});
    row("a record of four fields", "a/1/2/A", {});
    row("a record of one field", "a", {});
    row("four fields each", "a/1/2/A,b/1/2/B", {});
    row("a record of five fields", "a/1/2/A/5", {a});
    row("a record of five empty fields", "////", {QString()});
    row("a record of seven fields", "a/1/2/A/5/6/7", {a});
    row("empty records around one", ",,a/1/2/A/5,,", {a});
    row("a short record between two", "a/1/2/A/5,b/1,b/1/2/B/5", {a, b});
    row("two records", "b/1/2/B/5,a/1/2/A/5", {a, b});
    row("a blank in front of a key", " a/1/2/A/5", {QStringLiteral(" a")});
    row("keys that differ in case", "a/1/2/A/5,A/1/2/A/5", {QStringLiteral("A"), a});
}

void tst_ProxyEquipmentTable::findsTheRecords()
{
    QFETCH(QString, text);
    QFETCH(QStringList, keys);
    const TestProxy proxy;
    loadOldTable(proxy);
    const LogCapture log;
    QVERIFY(proxy->ParseEquipmentTable(text));
    QCOMPARE(proxy->equipmentTable().keys(), keys);
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyEquipmentTable::readsIntegersAsDecimal_data()
{
    QTest::addColumn<QString>("number");
    QTest::addColumn<qint16>("asShort");
    QTest::addColumn<qint64>("asLong");
    QTest::addColumn<int>("asInt");
    const auto row = [](const char *name, const char *number, int asShort, int value) {
        QTest::newRow(name) << QString::fromLatin1(number) << static_cast<qint16>(asShort)
                            << static_cast<qint64>(value) << value;
    };
    row("zero", "0", 0, 0);
    row("the largest of 16 bits, signed", "32767", 32767, 32767);
    row("one more", "32768", -32768, 32768);
    row("all of 16 bits", "65535", -1, 65535);
    row("one above 16 bits", "65536", 0, 65536);
    row("some above 16 bits", "65543", 7, 65543);
    row("minus one", "-1", -1, -1);
    row("the largest of 32 bits", "2147483647", -1, std::numeric_limits<int>::max());
    row("the smallest of 32 bits", "-2147483648", 0, std::numeric_limits<int>::min());
    row("one above 32 bits", "2147483648", 0, 0);
    row("one below 32 bits", "-2147483649", 0, 0);
    row("far above 64 bits", "99999999999999999999", 0, 0);
    row("no number", "abc", 0, 0);
    row("nothing", "", 0, 0);
    row("a number and more", "12a", 0, 0);
    row("hexadecimal", "0x10", 0, 0);
    row("a leading zero", "010", 10, 10);
    row("a sign", "+5", 5, 5);
    row("a fraction", "1.5", 0, 0);
    row("blanks around it", " 6 ", 6, 6);
}

void tst_ProxyEquipmentTable::readsIntegersAsDecimal()
{
    QFETCH(QString, number);
    QFETCH(qint16, asShort);
    QFETCH(qint64, asLong);
    QFETCH(int, asInt);
    const TestProxy proxy;
    const QString text = QStringLiteral("k/%1/%1/A/%1").arg(number);
    const EquipmentInfo entry = onlyEntry(proxy, text);
    QCOMPARE(entry.shortValue, asShort);
    QCOMPARE(entry.longValue, asLong);
    QCOMPARE(entry.intValue, asInt);
}

void tst_ProxyEquipmentTable::unescapesKeysOnly_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("key");
    const auto row = [](const char *name, const char *field, const char *key) {
        QTest::newRow(name) << QString::fromLatin1(field) << QString::fromLatin1(key);
    };
    row("a comma and a slash", "a*#*b#*#c", "a,b/c");
    row("several of each", "*#**#*#*##*#", ",,//");
    row("the comma is undone first", "#*#*", "#,");
    row("the slash is undone in what is left", "#*#*#*", "#,#*");
    row("nothing escaped", "a*b#c", "a*b#c");
    row("half an escape", "*#", "*#");
    row("nothing new comes of a replacement", "*#*#*", ",#*");
    row("a slash whose last sign begins a comma", "#*##*#", "//");
}

void tst_ProxyEquipmentTable::unescapesKeysOnly()
{
    QFETCH(QString, field);
    QFETCH(QString, key);
    const TestProxy proxy;
    const EquipmentInfo entry = onlyEntry(proxy, QStringLiteral("%1/1/2/a*#*b#*#c/5").arg(field));
    QCOMPARE(proxy->equipmentTable().firstKey(), key);
    QCOMPARE(entry.connectionKey, key);
    QCOMPARE(entry.connectionKeyCopy, key);
    QCOMPARE(entry.text, QStringLiteral("a*#*b#*#c"));
}

void tst_ProxyEquipmentTable::lastRecordOfAKeyWins()
{
    const TestProxy proxy;
    const QString text = QStringLiteral("k/1/2/A/5,other/9/9/9/9,k/6/7/B/8,k/1/2/3");
    QVERIFY(proxy->ParseEquipmentTable(text));
    QCOMPARE(proxy->equipmentTable().size(), 2);
    const EquipmentInfo entry = proxy->equipmentTable().value(QStringLiteral("k"));
    QCOMPARE(entry.shortValue, qint16(6));
    QCOMPARE(entry.longValue, qint64(7));
    QCOMPARE(entry.text, QStringLiteral("B"));
    QCOMPARE(entry.intValue, 8);
    // The same key, written in two ways.
    QVERIFY(proxy->ParseEquipmentTable(QStringLiteral("a#*#,b/1/2/A/5,*#*/1/2/A/5,*#*/6/7/B/8")));
    QCOMPARE(proxy->equipmentTable().value(QStringLiteral(",")).text, QStringLiteral("B"));
}

// Keys that come twice, with and without escapes, between others: the last of them wins.
void tst_ProxyEquipmentTable::makesTheSameTableOfRecordsInAnyOrder()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    std::mt19937 random(seed);
    const TestProxy proxy;
    for (int round = 0; round < 100; ++round) {
        QStringList fields;
        for (int i = 0; i < 40; ++i)
            fields << QStringLiteral("k%1*#*#*#").arg(i / 2) << QStringLiteral("k%1").arg(i / 3);
        std::shuffle(fields.begin(), fields.end(), random);
        QStringList records;
        QMap<QString, int> expected;
        for (const QString &field : qAsConst(fields)) {
            records << field + QStringLiteral("/1/2/name/%1").arg(records.size());
            QString key = field;
            expected[key.replace(QLatin1String("*#*"), QLatin1String(","))
                         .replace(QLatin1String("#*#"), QLatin1String("/"))]
                = records.size() - 1;
        }
        QVERIFY(proxy->ParseEquipmentTable(records.join(QLatin1Char(','))));
        const QMap<QString, EquipmentInfo> table = proxy->equipmentTable();
        QCOMPARE(table.keys(), expected.keys());
        for (const QString &key : table.keys()) {
            QCOMPARE(table[key].intValue, expected[key]);
            QCOMPARE(table[key].connectionKey, key);
        }
    }
}

void tst_ProxyEquipmentTable::emptyFieldsAreEmptyTextsAndNotNull()
{
    const TestProxy proxy;
    const EquipmentInfo entry = onlyEntry(proxy, QStringLiteral("////"));
    for (const QString &text : {entry.connectionKey, entry.connectionKeyCopy, entry.text}) {
        QVERIFY(text.isEmpty());
        QVERIFY(!text.isNull());
    }
    QCOMPARE(entry.shortValue, qint16(0));
    QCOMPARE(entry.longValue, qint64(0));
    QCOMPARE(entry.intValue, 0);
}

void tst_ProxyEquipmentTable::keepsWhatIsBeyondAscii()
{
    const TestProxy proxy;
    const EquipmentInfo entry
        = onlyEntry(proxy, QStringLiteral("\u00E9\u4E2D/1/2/\u00FF\u0001 \u6587/5"));
    QCOMPARE(entry.connectionKey, QStringLiteral("\u00E9\u4E2D"));
    QCOMPARE(entry.text, QStringLiteral("\u00FF\u0001 \u6587"));
}

void tst_ProxyEquipmentTable::replacesTheWholeTable()
{
    const TestProxy proxy;
    QVERIFY(proxy->ParseEquipmentTable(QStringLiteral("a/1/2/A/5,b/1/2/B/5")));
    EquipmentInfo marked = proxy->equipmentTable().value(QStringLiteral("b"));
    marked.flag = true;
    proxy->setEquipmentTable({{QStringLiteral("b"), marked}});
    QVERIFY(proxy->ParseEquipmentTable(QStringLiteral("b/1/2/B/5,c/1/2/C/5")));
    QCOMPARE(proxy->equipmentTable().keys(),
             (QStringList{QStringLiteral("b"), QStringLiteral("c")}));
    QVERIFY(!proxy->equipmentTable().value(QStringLiteral("b")).flag);
}

void tst_ProxyEquipmentTable::readsAHundredThousandRecords()
{
    constexpr int count = 100000;
    QString text;
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("key%1/%2/%3/text %1/%4,").arg(i).arg(i % 30000).arg(-i).arg(i * 2);
    const TestProxy proxy;
    QVERIFY(proxy->ParseEquipmentTable(text));
    const QMap<QString, EquipmentInfo> table = proxy->equipmentTable();
    QCOMPARE(table.size(), count);
    for (int i = 0; i < count; ++i) {
        const auto entry = table.constFind(QStringLiteral("key%1").arg(i));
        QVERIFY(entry != table.constEnd());
        QCOMPARE(int(entry->shortValue), i % 30000);
        QCOMPARE(entry->longValue, qint64(-i));
        QCOMPARE(entry->text, QStringLiteral("text %1").arg(i));
        QCOMPARE(entry->intValue, i * 2);
        QCOMPARE(entry->connectionKey, entry.key());
        QCOMPARE(entry->connectionKeyCopy, entry.key());
    }
}

KSPROXY_TEST_MAIN(tst_ProxyEquipmentTable)
#include "tst_ProxyEquipmentTable.moc"
