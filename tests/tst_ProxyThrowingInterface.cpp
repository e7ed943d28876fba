#include "LogCapture.h"
#include "TestMain.h"
#include "TestProxy.h"

#include <QTest>

#include <stdexcept>

namespace {

/// What the two operations below do; another build of the interface may throw a text.
enum class Behaviour { Count, ThrowText, ThrowOther };

Behaviour behaviour = Behaviour::Count;
int replacements = 0;
int clearings = 0;
QStringList replacedBy;

void behave()
{
    if (behaviour == Behaviour::ThrowText)
        throw QStringLiteral("table \"locked\" \u8868");
    if (behaviour == Behaviour::ThrowOther)
        throw std::runtime_error("not a text");
}

/// Terminates a proxy with the operations harmless again.
class QuietEnd
{
public:
    QuietEnd() = default;
    ~QuietEnd()
    {
        behaviour = Behaviour::Count;
    }

private:
    Q_DISABLE_COPY_MOVE(QuietEnd)
};

const QString LogLineText
    = QStringLiteral("ParseEquipmentTable \"\u5BA2\u6237\u7AEF\u66F4\u65B0\u8BBE\u5907\u8868"
                     "\u5F02\u5E38\uFF1A\" \"table \\\"locked\\\" \u8868\"");

} // namespace

// In place of the interface library's own, for this program.

void IKVTServerBaseProxy::setEquipmentTable(const QMap<QString, EquipmentInfo> &table)
{
    ++replacements;
    replacedBy = table.keys();
    behave();
}

void IKVTServerBaseProxy::clearEquipmentTable()
{
    ++clearings;
    behave();
}

/// The equipment table when the interface's operations throw.
class tst_ProxyThrowingInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void replacesTheTableOnce();
    void logsATextThrownWhenReplacing();
    void logsATextThrownWhenClearing();
    void goesOnWithTheDispatch();
    void catchesNothingElse();
};

void tst_ProxyThrowingInterface::init()
{
    replacements = 0;
    clearings = 0;
    replacedBy.clear();
}

void tst_ProxyThrowingInterface::replacesTheTableOnce()
{
    const TestProxy proxy;
    QVERIFY(proxy->ParseEquipmentTable(QStringLiteral("b/1/2/B/5,a/1/2/A/5,b/6/7/8/9")));
    QCOMPARE(replacements, 1);
    QCOMPARE(clearings, 0);
    QCOMPARE(replacedBy, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

void tst_ProxyThrowingInterface::logsATextThrownWhenReplacing()
{
    const TestProxy proxy;
    const QuietEnd end;
    behaviour = Behaviour::ThrowText;
    const LogCapture log;
    QVERIFY(!proxy->ParseEquipmentTable(QStringLiteral("a/1/2/A/5")));
    QCOMPARE(replacements, 1);
    QCOMPARE(clearings, 0);
    QCOMPARE(log.texts(QtDebugMsg), QStringList{LogLineText});
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().first().category, QStringLiteral("default"));
}

void tst_ProxyThrowingInterface::logsATextThrownWhenClearing()
{
    const TestProxy proxy;
    const QuietEnd end;
    behaviour = Behaviour::ThrowText;
    const LogCapture log;
    QVERIFY(!proxy->ParseEquipmentTable(QString()));
    QCOMPARE(replacements, 0);
    QCOMPARE(clearings, 1);
    QCOMPARE(log.texts(QtDebugMsg), QStringList{LogLineText});
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProxyThrowingInterface::goesOnWithTheDispatch()
{
    const TestProxy proxy;
    const QuietEnd end;
    behaviour = Behaviour::ThrowText;
    TestAccess::idleCount(*proxy) = 9;
    const LogCapture log;
    QVERIFY(proxy->ReceivedMessage(TarnEnum::RegisterSuccess, QStringLiteral("a/1/2/A/5,1.2"),
                                   QByteArray()));
    QVERIFY(proxy->isRegisted());
    QCOMPARE(proxy->ServerVer(), QStringLiteral("1.2"));
    QCOMPARE(TestAccess::idleCount(*proxy), 0);
    QCOMPARE(log.count(QtDebugMsg, LogLineText), 1);
}

void tst_ProxyThrowingInterface::catchesNothingElse()
{
    const TestProxy proxy;
    const QuietEnd end;
    behaviour = Behaviour::ThrowOther;
    const LogCapture log;
    QVERIFY_EXCEPTION_THROWN(proxy->ParseEquipmentTable(QStringLiteral("a/1/2/A/5")),
                             std::runtime_error);
    QVERIFY_EXCEPTION_THROWN(proxy->ParseEquipmentTable(QString()), std::runtime_error);
    QVERIFY(log.lines().isEmpty());
}

KSPROXY_TEST_MAIN(tst_ProxyThrowingInterface)
#include "tst_ProxyThrowingInterface.moc"
