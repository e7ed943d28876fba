#include "DeviceSession.h"
#include "LogCapture.h"
#include "TestMain.h"

#include <QLoggingCategory>
#include <QTest>

#include <new>
#include <utility>

namespace {

const char *const Category = "ksproxy.session";
QLoggingCategory::CategoryFilter previousFilter = nullptr;
int refusals = 0;

// As when there is no memory to register the category.
void refuseCategory(QLoggingCategory *category)
{
    if (qstrcmp(category->categoryName(), Category) == 0) {
        ++refusals;
        throw std::bad_alloc();
    }
    previousFilter(category);
}

} // namespace

/// What the session layer logs. In this order: a category is registered once in a process.
class tst_SessionLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesOutTheFirstLineWithoutMemory();
    void writesTheNextOne();
};

void tst_SessionLog::leavesOutTheFirstLineWithoutMemory()
{
    DeviceSession session;
    const LogCapture log;
    previousFilter = QLoggingCategory::installFilter(refuseCategory);
    const bool isQueued = session.connectAllControllers();
    QLoggingCategory::installFilter(std::exchange(previousFilter, nullptr));
    QCOMPARE(refusals, 1);
    QVERIFY(!isQueued);
    QCOMPARE(session.lastError().code, SessionError::Code::NotReady);
    QVERIFY(log.lines().isEmpty());
}

void tst_SessionLog::writesTheNextOne()
{
    DeviceSession session;
    const LogCapture log;
    QVERIFY(!session.connectAllControllers());
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().constFirst().category, QString::fromLatin1(Category));
    QCOMPARE(log.texts(QtWarningMsg),
             QStringList(QStringLiteral("refused: The session is closed.")));
}

KSPROXY_TEST_MAIN(tst_SessionLog)
#include "tst_SessionLog.moc"
