#include "EquipmentKeyText.h"
#include "TestMain.h"

#include <QRandomGenerator>
#include <QTest>

class tst_EquipmentKeyText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void escapes_data();
    void escapes();
    void unescapes_data();
    void unescapes();
    void bringsAKeyBack_data();
    void bringsAKeyBack();
    void bringsRandomKeysBack();
    void cannotBringBack_data();
    void cannotBringBack();
    void leavesItsArgumentAlone();
};

void tst_EquipmentKeyText::escapes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("nothing to escape") << QStringLiteral("COM1") << QStringLiteral("COM1");
    QTest::newRow("a slash") << QStringLiteral("/") << QStringLiteral("#*#");
    QTest::newRow("a comma") << QStringLiteral(",") << QStringLiteral("*#*");
    QTest::newRow("several of both")
        << QStringLiteral("a/b,c/d,e") << QStringLiteral("a#*#b*#*c#*#d*#*e");
    QTest::newRow("two slashes in a row") << QStringLiteral("//") << QStringLiteral("#*##*#");
    QTest::newRow("two commas in a row") << QStringLiteral(",,") << QStringLiteral("*#**#*");
    QTest::newRow("a comma before a slash") << QStringLiteral(",/") << QStringLiteral("*#*#*#");
    QTest::newRow("a slash before a comma") << QStringLiteral("/,") << QStringLiteral("#*#*#*");
    QTest::newRow("marks of its own stay") << QStringLiteral("#*") << QStringLiteral("#*");
    QTest::newRow("other alphabets")
        << QStringLiteral("\u00E4/\u65E5") << QStringLiteral("\u00E4#*#\u65E5");
}

void tst_EquipmentKeyText::escapes()
{
    QFETCH(QString, key);
    QFETCH(QString, text);
    QCOMPARE(EquipmentKeyText::escaped(key), text);
}

void tst_EquipmentKeyText::unescapes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("key");
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("nothing to unescape") << QStringLiteral("COM1") << QStringLiteral("COM1");
    QTest::newRow("a slash") << QStringLiteral("#*#") << QStringLiteral("/");
    QTest::newRow("a comma") << QStringLiteral("*#*") << QStringLiteral(",");
    QTest::newRow("both, apart") << QStringLiteral("a#*#b*#*c") << QStringLiteral("a/b,c");
    QTest::newRow("cut off") << QStringLiteral("#*") << QStringLiteral("#*");
    QTest::newRow("a mark alone") << QStringLiteral("#") << QStringLiteral("#");
    // Marks that both could claim: each of these would read otherwise if the slash went first.
    QTest::newRow("the comma first, at the end") << QStringLiteral("#*#*") << QStringLiteral("#,");
    QTest::newRow("the comma first, at the beginning")
        << QStringLiteral("*#*#") << QStringLiteral(",#");
    QTest::newRow("five marks from a slash") << QStringLiteral("#*#*#") << QStringLiteral("#,#");
    QTest::newRow("five marks from a comma") << QStringLiteral("*#*#*") << QStringLiteral(",#*");
    QTest::newRow("six marks from a comma") << QStringLiteral("*#*#*#") << QStringLiteral(",/");
    QTest::newRow("six marks from a slash") << QStringLiteral("#*#*#*") << QStringLiteral("#,#*");
    QTest::newRow("a slash that the comma's end has left")
        << QStringLiteral("#*##*#") << QStringLiteral("//");
    QTest::newRow("commas from the left, without overlap")
        << QStringLiteral("*#**#*") << QStringLiteral(",,");
}

void tst_EquipmentKeyText::unescapes()
{
    QFETCH(QString, text);
    QFETCH(QString, key);
    QCOMPARE(EquipmentKeyText::unescaped(text), key);
}

void tst_EquipmentKeyText::bringsAKeyBack_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("a port") << QStringLiteral("COM1");
    QTest::newRow("a device file") << QStringLiteral("/dev/ttyUSB0");
    QTest::newRow("a comma before a slash") << QStringLiteral("a,/b");
    QTest::newRow("slashes in a row") << QStringLiteral("///");
    QTest::newRow("commas in a row") << QStringLiteral(",,,");
    QTest::newRow("commas, then slashes") << QStringLiteral(",,//");
    QTest::newRow("a slash and a comma, apart") << QStringLiteral("/x,");
    QTest::newRow("half a mark between") << QStringLiteral("#/x*,");
}

void tst_EquipmentKeyText::bringsAKeyBack()
{
    QFETCH(QString, key);
    const QString text = EquipmentKeyText::escaped(key);
    QVERIFY(!text.contains(QLatin1Char('/')));
    QVERIFY(!text.contains(QLatin1Char(',')));
    QCOMPARE(EquipmentKeyText::unescaped(text), key);
}

void tst_EquipmentKeyText::bringsRandomKeysBack()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    const QString alphabet = QStringLiteral("ab1/,-\u00E4\u65E5");
    for (int round = 0; round < 5000; ++round) {
        QString key;
        for (int length = random.bounded(20); length > 0; --length)
            key.append(alphabet.at(random.bounded(alphabet.size())));
        if (key.contains(QLatin1String("/,")))
            continue;
        QVERIFY2(EquipmentKeyText::unescaped(EquipmentKeyText::escaped(key)) == key,
                 qPrintable(key));
    }
}

void tst_EquipmentKeyText::cannotBringBack_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("broughtBack");
    QTest::newRow("a slash before a comma") << QStringLiteral("/,") << QStringLiteral("#,#*");
    QTest::newRow("a slash before a comma, inside")
        << QStringLiteral("a/,b") << QStringLiteral("a#,#*b");
    QTest::newRow("an escaped slash of its own") << QStringLiteral("#*#") << QStringLiteral("/");
    QTest::newRow("an escaped comma of its own") << QStringLiteral("*#*") << QStringLiteral(",");
    QTest::newRow("a mark that joins a slash") << QStringLiteral("*/") << QStringLiteral(",#");
}

void tst_EquipmentKeyText::cannotBringBack()
{
    QFETCH(QString, key);
    QFETCH(QString, broughtBack);
    QCOMPARE(EquipmentKeyText::unescaped(EquipmentKeyText::escaped(key)), broughtBack);
}

void tst_EquipmentKeyText::leavesItsArgumentAlone()
{
    const QString key = QStringLiteral("a/b,c");
    const QString text = EquipmentKeyText::escaped(key);
    QCOMPARE(key, QStringLiteral("a/b,c"));
    QCOMPARE(EquipmentKeyText::unescaped(text), key);
    QCOMPARE(text, QStringLiteral("a#*#b*#*c"));
}

KSPROXY_TEST_MAIN(tst_EquipmentKeyText)
#include "tst_EquipmentKeyText.moc"
