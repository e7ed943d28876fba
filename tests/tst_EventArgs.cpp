#include "EventArgs.h"
#include "PackageBase.h"
#include "TestMain.h"

#include <QPointer>
#include <QTest>

#include <cstring>
#include <limits>
#include <type_traits>

class tst_EventArgs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsDefaults();
    void keepsItsValue_data();
    void keepsItsValue();
    void is32BitsCopiedWhole();
    void keepsThePortName();
    void keepsTheErrorText();
    void keepsTheRequestWithoutOwningIt();
    void copiesAreIndependent();
    void givesItsValueAsABase();
    void hasNoVirtualOperations();
    void travelsInAVariant();
};

void tst_EventArgs::hasItsDefaults()
{
    QCOMPARE(EventArgs().value(), 0);
    QCOMPARE(ConnectEquipmentEventArgs().value(), 0);
    QVERIFY(ConnectEquipmentEventArgs().portNam().isEmpty());
    QCOMPARE(NotifyRegisterErrorEventArgs().value(), 0);
    QVERIFY(NotifyRegisterErrorEventArgs().errInfo().isEmpty());
    QCOMPARE(CompletePackageRequestEventArgs().value(), 0);
    QCOMPARE(CompletePackageRequestEventArgs().request(), static_cast<PackageBase *>(nullptr));
}

void tst_EventArgs::keepsItsValue_data()
{
    QTest::addColumn<int>("value");
    QTest::newRow("fifteen") << 15;
    QTest::newRow("negative") << -1;
    QTest::newRow("largest") << std::numeric_limits<int>::max();
    QTest::newRow("smallest") << std::numeric_limits<int>::min();
}

void tst_EventArgs::keepsItsValue()
{
    QFETCH(int, value);
    const EventArgs made(value);
    QCOMPARE(made.value(), value);
    EventArgs set(1);
    set.setValue(value);
    QCOMPARE(set.value(), value);
    const EventArgs copy(set);
    QCOMPARE(copy.value(), value);
    EventArgs assigned;
    assigned = set;
    QCOMPARE(assigned.value(), value);
}

void tst_EventArgs::is32BitsCopiedWhole()
{
    QCOMPARE(sizeof(EventArgs), sizeof(qint32));
    QVERIFY(std::is_trivially_copyable_v<EventArgs>);
    const EventArgs args(0x01020304);
    qint32 content = 0;
    std::memcpy(&content, &args, sizeof content);
    QCOMPARE(content, 0x01020304);
}

void tst_EventArgs::keepsThePortName()
{
    ConnectEquipmentEventArgs args;
    args.setPortNam(QStringLiteral("COM1"));
    QCOMPARE(args.portNam(), QStringLiteral("COM1"));
    args.setPortNam(QString());
    QVERIFY(args.portNam().isEmpty());
}

void tst_EventArgs::keepsTheErrorText()
{
    NotifyRegisterErrorEventArgs args;
    args.setErrInfo(QStringLiteral("\u00E4\u65E5"));
    QCOMPARE(args.errInfo(), QStringLiteral("\u00E4\u65E5"));
    args.setErrInfo(QString());
    QVERIFY(args.errInfo().isEmpty());
}

void tst_EventArgs::keepsTheRequestWithoutOwningIt()
{
    const QPointer<PackageBase> package(new PackageBase);
    {
        CompletePackageRequestEventArgs args;
        args.setRequest(package);
        QCOMPARE(args.request(), package.data());
        const CompletePackageRequestEventArgs copy(args);
        QCOMPARE(copy.request(), package.data());
        args.setRequest(nullptr);
        QCOMPARE(args.request(), static_cast<PackageBase *>(nullptr));
        QCOMPARE(copy.request(), package.data());
    }
    QVERIFY(package);
    delete package;
}

void tst_EventArgs::copiesAreIndependent()
{
    ConnectEquipmentEventArgs source;
    source.setPortNam(QStringLiteral("COM1"));
    source.setValue(1);
    ConnectEquipmentEventArgs copy(source);
    QCOMPARE(copy.portNam(), QStringLiteral("COM1"));
    QCOMPARE(copy.value(), 1);
    copy.setPortNam(QStringLiteral("COM2"));
    copy.setValue(2);
    QCOMPARE(source.portNam(), QStringLiteral("COM1"));
    QCOMPARE(source.value(), 1);
    source = copy;
    QCOMPARE(source.portNam(), QStringLiteral("COM2"));
    QCOMPARE(source.value(), 2);

    NotifyRegisterErrorEventArgs error;
    error.setErrInfo(QStringLiteral("first"));
    NotifyRegisterErrorEventArgs errorCopy(error);
    errorCopy.setErrInfo(QStringLiteral("second"));
    QCOMPARE(error.errInfo(), QStringLiteral("first"));
}

void tst_EventArgs::givesItsValueAsABase()
{
    NotifyRegisterErrorEventArgs args;
    args.setValue(7);
    args.setErrInfo(QStringLiteral("lost on the way"));
    const EventArgs base = args;
    QCOMPARE(base.value(), 7);
}

void tst_EventArgs::hasNoVirtualOperations()
{
    QVERIFY(!std::is_polymorphic_v<EventArgs>);
    QVERIFY(!std::is_polymorphic_v<ConnectEquipmentEventArgs>);
    QVERIFY(!std::is_polymorphic_v<NotifyRegisterErrorEventArgs>);
    QVERIFY(!std::is_polymorphic_v<CompletePackageRequestEventArgs>);
}

void tst_EventArgs::travelsInAVariant()
{
    QCOMPARE(QVariant::fromValue(EventArgs(3)).value<EventArgs>().value(), 3);
    ConnectEquipmentEventArgs connected;
    connected.setPortNam(QStringLiteral("COM1"));
    QCOMPARE(QVariant::fromValue(connected).value<ConnectEquipmentEventArgs>().portNam(),
             QStringLiteral("COM1"));
    NotifyRegisterErrorEventArgs error;
    error.setErrInfo(QStringLiteral("error"));
    QCOMPARE(QVariant::fromValue(error).value<NotifyRegisterErrorEventArgs>().errInfo(),
             QStringLiteral("error"));
    PackageBase package;
    CompletePackageRequestEventArgs completed;
    completed.setRequest(&package);
    QCOMPARE(QVariant::fromValue(completed).value<CompletePackageRequestEventArgs>().request(),
             &package);
}

KSPROXY_TEST_MAIN(tst_EventArgs)
#include "tst_EventArgs.moc"
