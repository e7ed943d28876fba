#include "Log.h"
#include "LogCapture.h"
#include "TestMain.h"

#include <QLoggingCategory>
#include <QTest>

#include <functional>

using Write = std::function<void()>;
Q_DECLARE_METATYPE(Write)

/// Each line against the one that Qt's own stream writes.
class tst_Log : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesWhatQtWrites_data();
    void writesWhatQtWrites();
    void respectsTheRules();
};

void tst_Log::writesWhatQtWrites_data()
{
    const QString text = QStringLiteral("C:\\a \"b\" \u8868");
    QTest::addColumn<Write>("ours");
    QTest::addColumn<Write>("qts");
    QTest::newRow("words") << Write([] { Log::debug("some words"); })
                           << Write([] { qDebug() << "some words"; });
    QTest::newRow("words that end in a blank")
        << Write([] { Log::info("words "); }) << Write([] { qInfo() << "words "; });
    QTest::newRow("words around a blank") << Write([] { Log::critical(" words : ", 5); })
                                          << Write([] { qCritical() << " words : " << 5; });
    QTest::newRow("a quoted text") << Write([text] { Log::critical("path", text); })
                                   << Write([text] { qCritical() << "path" << text; });
    QTest::newRow("an empty text") << Write([] { Log::debug("path", QString()); })
                                   << Write([] { qDebug() << "path" << QString(); });
    QTest::newRow("numbers and a truth")
        << Write([] { Log::info("n", 5, quint64(7), false); })
        << Write([] { qInfo() << "n" << 5 << quint64(7) << false; });
    QTest::newRow("nothing") << Write([] { Log::debug(""); }) << Write([] { qDebug() << ""; });
}

void tst_Log::writesWhatQtWrites()
{
    QFETCH(Write, ours);
    QFETCH(Write, qts);
    const LogCapture log;
    ours();
    qts();
    const auto lines = log.lines();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines[0].text, lines[1].text);
    QCOMPARE(lines[0].level, lines[1].level);
    QCOMPARE(lines[0].category, lines[1].category);
}

void tst_Log::respectsTheRules()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const LogCapture log;
    Log::debug("left out");
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(log.lines().isEmpty());
    Log::debug("written");
    QCOMPARE(log.count(QtDebugMsg, QStringLiteral("written")), 1);
}

KSPROXY_TEST_MAIN(tst_Log)
#include "tst_Log.moc"
