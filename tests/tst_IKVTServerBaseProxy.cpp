#include "IKVTServerBaseProxy.h"
#include "MinimalProxy.h"
#include "TestMain.h"

#include <QMap>
#include <QTest>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using Table = QMap<QString, EquipmentInfo>;
using Base = IKVTServerBaseProxy;

EquipmentInfo namedInfo(const QString &name)
{
    EquipmentInfo info;
    info.text = name;
    info.connectionKey = name;
    return info;
}

/// A table in which every record says the same.
Table uniformTable(int number, int size)
{
    Table table;
    for (int i = 0; i < size; ++i) {
        EquipmentInfo info;
        info.intValue = number;
        table.insert(QStringLiteral("COM%1").arg(i), info);
    }
    return table;
}

/// Where an operation stands in the table of virtual functions, see tst_PackageBinaryInterface.
template <typename Operation>
int slot(Operation operation)
{
    std::ptrdiff_t value = 0;
    std::memcpy(&value, &operation, sizeof value);
    return value % 2 == 1 ? static_cast<int>((value - 1) / std::ptrdiff_t(sizeof(void *))) : -1;
}

} // namespace

class tst_IKVTServerBaseProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsMetaObject();
    void hasItsOperationsInOrder();
    void isNotRegisteredWhenNew();
    void keepsTheRegisteredFlag();
    void keepsTheFlagFromAnyThread();
    void hasAnEmptyTableWhenNew();
    void replacesTheTableWhole();
    void handsOutCopiesOfTheTable();
    void takesACopyOfTheTable();
    void clearsTheTable();
    void keepsTheTableApartFromTheFlag();
    void neverShowsAHalfReplacedTable();
    void belongsToItsParent();
};

void tst_IKVTServerBaseProxy::hasItsMetaObject()
{
    const QMetaObject &meta = Base::staticMetaObject;
    QCOMPARE(meta.className(), "IKVTServerBaseProxy");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    const QList<QByteArray> signatures{
        "EquipmentChangeEvent(void*,EventArgs)",
        "BeginConnectEquipment(void*,ConnectEquipmentEventArgs)",
        "NotifyRegisterErrEvent(void*,NotifyRegisterErrorEventArgs)",
        "CompleteConnectEquipment(void*,ConnectEquipmentEventArgs)",
        "BeginConnectAllController(void*,EventArgs)",
        "CompleteConnectAllController(void*,EventArgs)",
        "CallBackBroadcastRecvedReplyEvent(void*,CompletePackageRequestEventArgs)"};
    QCOMPARE(meta.methodCount() - meta.methodOffset(), signatures.size());
    for (const QByteArray &signature : signatures)
        QVERIFY2(meta.indexOfSignal(signature) >= meta.methodOffset(), signature.constData());
}

void tst_IKVTServerBaseProxy::hasItsOperationsInOrder()
{
    using OneName = bool (Base::*)(const QString &);
    using NoName = bool (Base::*)();
    const std::vector<int> slots{slot(&Base::Initalize),
                                 slot(&Base::Terminate),
                                 slot(static_cast<NoName>(&Base::ConnectController)),
                                 slot(static_cast<OneName>(&Base::ConnectController)),
                                 slot(&Base::SendRequestReadData),
                                 slot(&Base::SendRequestReadFile),
                                 slot(&Base::SendRequestReadMemData),
                                 slot(&Base::SendRequestWriteData),
                                 slot(&Base::SendRequestWriteFile),
                                 slot(&Base::SendRequestWriteMemData),
                                 slot(&Base::SendCombinationRequest),
                                 slot(&Base::CancelServerAllSend),
                                 slot(&Base::CancelServerSend),
                                 slot(&Base::SendStartRequestSpecialPacke),
                                 slot(&Base::SendEndRequestSpecialPacke),
                                 slot(&Base::Register),
                                 slot(&Base::UnRegister),
                                 slot(&Base::startServer),
                                 slot(&Base::exitKVTServer),
                                 slot(&Base::sendPacketData),
                                 slot(&Base::makeDeviceExclusive),
                                 slot(&Base::changebaudRate),
                                 slot(&Base::isServerProcessRunning),
                                 slot(&Base::getErrorCode)};
    QCOMPARE(slots.size(), size_t(24));
    // Twelve are QObject's own.
    for (size_t i = 0; i < slots.size(); ++i)
        QCOMPARE(slots.at(i), int(12 + i));
    QCOMPARE(slot(&Base::isRegisted), -1);
    QCOMPARE(slot(&Base::equipmentTable), -1);
}

void tst_IKVTServerBaseProxy::isNotRegisteredWhenNew()
{
    const MinimalProxy proxy;
    QVERIFY(!proxy.isRegisted());
}

void tst_IKVTServerBaseProxy::keepsTheRegisteredFlag()
{
    MinimalProxy proxy;
    proxy.setRegisted(true);
    QVERIFY(proxy.isRegisted());
    proxy.setRegisted(true);
    QVERIFY(proxy.isRegisted());
    proxy.setRegisted(false);
    QVERIFY(!proxy.isRegisted());
}

void tst_IKVTServerBaseProxy::keepsTheFlagFromAnyThread()
{
    MinimalProxy proxy;
    std::thread([&] { proxy.setRegisted(true); }).join();
    QVERIFY(proxy.isRegisted());
    bool seen = true;
    proxy.setRegisted(false);
    std::thread([&] { seen = proxy.isRegisted(); }).join();
    QVERIFY(!seen);
}

void tst_IKVTServerBaseProxy::hasAnEmptyTableWhenNew()
{
    const MinimalProxy proxy;
    QVERIFY(proxy.equipmentTable().isEmpty());
}

void tst_IKVTServerBaseProxy::replacesTheTableWhole()
{
    MinimalProxy proxy;
    proxy.setEquipmentTable({{QStringLiteral("COM1"), namedInfo(QStringLiteral("one"))},
                             {QStringLiteral("COM2"), namedInfo(QStringLiteral("two"))}});
    QCOMPARE(proxy.equipmentTable().keys(),
             (QStringList{QStringLiteral("COM1"), QStringLiteral("COM2")}));
    QCOMPARE(proxy.equipmentTable().value(QStringLiteral("COM2")).text, QStringLiteral("two"));
    proxy.setEquipmentTable({{QStringLiteral("COM3"), namedInfo(QStringLiteral("three"))}});
    QCOMPARE(proxy.equipmentTable().keys(), QStringList{QStringLiteral("COM3")});
    QCOMPARE(proxy.equipmentTable().value(QStringLiteral("COM3")).connectionKey,
             QStringLiteral("three"));
}

void tst_IKVTServerBaseProxy::handsOutCopiesOfTheTable()
{
    MinimalProxy proxy;
    proxy.setEquipmentTable({{QStringLiteral("COM1"), namedInfo(QStringLiteral("one"))}});
    Table copy = proxy.equipmentTable();
    copy[QStringLiteral("COM1")].text = QStringLiteral("changed");
    copy.insert(QStringLiteral("COM2"), EquipmentInfo());
    QCOMPARE(proxy.equipmentTable().size(), 1);
    QCOMPARE(proxy.equipmentTable().value(QStringLiteral("COM1")).text, QStringLiteral("one"));
    proxy.clearEquipmentTable();
    QCOMPARE(copy.size(), 2);
}

void tst_IKVTServerBaseProxy::takesACopyOfTheTable()
{
    MinimalProxy proxy;
    Table table{{QStringLiteral("COM1"), namedInfo(QStringLiteral("one"))}};
    proxy.setEquipmentTable(table);
    table[QStringLiteral("COM1")].text = QStringLiteral("changed");
    table.clear();
    QCOMPARE(proxy.equipmentTable().value(QStringLiteral("COM1")).text, QStringLiteral("one"));
}

void tst_IKVTServerBaseProxy::clearsTheTable()
{
    MinimalProxy proxy;
    proxy.clearEquipmentTable();
    QVERIFY(proxy.equipmentTable().isEmpty());
    proxy.setEquipmentTable(uniformTable(1, 10));
    QCOMPARE(proxy.equipmentTable().size(), 10);
    proxy.clearEquipmentTable();
    QVERIFY(proxy.equipmentTable().isEmpty());
    proxy.setEquipmentTable(uniformTable(1, 2));
    QCOMPARE(proxy.equipmentTable().size(), 2);
}

void tst_IKVTServerBaseProxy::keepsTheTableApartFromTheFlag()
{
    MinimalProxy proxy;
    proxy.setEquipmentTable(uniformTable(1, 3));
    proxy.setRegisted(true);
    proxy.setRegisted(false);
    QCOMPARE(proxy.equipmentTable().size(), 3);
    proxy.setRegisted(true);
    proxy.clearEquipmentTable();
    QVERIFY(proxy.isRegisted());
}

void tst_IKVTServerBaseProxy::neverShowsAHalfReplacedTable()
{
    MinimalProxy proxy;
    std::atomic<int> bad{0};
    std::atomic<int> writers{2};
    std::vector<std::thread> threads;
    for (int writer = 1; writer <= 2; ++writer) {
        threads.emplace_back([&proxy, &writers, writer] {
            for (int i = 0; i < 2000; ++i) {
                proxy.setEquipmentTable(uniformTable(writer, 10 * writer));
                if (i % 7 == 0)
                    proxy.clearEquipmentTable();
            }
            --writers;
        });
    }
    for (int reader = 0; reader < 2; ++reader) {
        threads.emplace_back([&] {
            while (writers > 0) {
                const Table table = proxy.equipmentTable();
                const int number = table.isEmpty() ? 0 : table.first().intValue;
                if (table.size() != 10 * number)
                    ++bad;
                for (const EquipmentInfo &info : table) {
                    if (info.intValue != number)
                        ++bad;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(bad.load(), 0);
}

void tst_IKVTServerBaseProxy::belongsToItsParent()
{
    bool isDestroyed = false;
    {
        QObject parent;
        auto *const proxy = new MinimalProxy(&parent);
        QCOMPARE(proxy->parent(), &parent);
        connect(proxy, &QObject::destroyed, this, [&] { isDestroyed = true; });
    }
    QVERIFY(isDestroyed);
}

KSPROXY_TEST_MAIN(tst_IKVTServerBaseProxy)
#include "tst_IKVTServerBaseProxy.moc"
