#include "PackageKinds.h"
#include "TestMain.h"

#include <QRandomGenerator>
#include <QTest>

/// Reads package texts that nobody wrote.
class tst_PackageTextRandom : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void survivesRandomTexts_data();
    void survivesRandomTexts();
};

void tst_PackageTextRandom::survivesRandomTexts_data()
{
    PackageKinds::addRows();
}

void tst_PackageTextRandom::survivesRandomTexts()
{
    QFETCH(PackageKind, kind);
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    const auto filled = kind.make();
    PackageKinds::fill(filled.get());
    const QString valid = filled->toReplyString();
    const QString likely = QStringLiteral(";;==%%0123456789-+ABCDEFabcdef xyz,/");
    for (int round = 0; round < 2000; ++round) {
        // A valid text with some characters exchanged, or nothing but such characters.
        QString text = round % 2 == 0 ? valid : QString(random.bounded(60), QLatin1Char('='));
        for (int i = random.bounded(1, 12); i > 0 && !text.isEmpty(); --i) {
            const QChar c = random.bounded(4) == 0 ? QChar(random.bounded(0x10000))
                                                   : likely.at(random.bounded(likely.size()));
            text[random.bounded(text.size())] = c;
        }
        text.truncate(random.bounded(text.size() + 1));
        const auto package = kind.make();
        package->fromString(text);
        QCOMPARE(package->getReadWriteCode(), kind.readWriteCode);
        QCOMPARE(package->getClientPackageType(), kind.clientPackageType);
        const QString reply = package->toReplyString();
        for (const QChar c : reply)
            QVERIFY2(c.unicode() >= 0x20 && c.unicode() <= 0x7E, qPrintable(text));
        // Whatever was taken is a value like any other.
        const auto again = kind.make();
        again->fromString(reply);
        QVERIFY2(again->toReplyString() == reply, qPrintable(text));
    }
}

KSPROXY_TEST_MAIN(tst_PackageTextRandom)
#include "tst_PackageTextRandom.moc"
