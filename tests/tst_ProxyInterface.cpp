#include "KVTServerMessageOldProxy.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "PackageRequestCombination.h"
#include "PackageRequestWriteMemData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <cstring>

namespace {

/// The place of a virtual operation in its class's table, -1 for one that is not virtual. On the
/// Itanium C++ ABI a pointer to a virtual member holds the offset of its entry in bytes, marked in
/// the lowest bit: of the offset itself or, on ARM, of the second word.
template <typename Member>
int tableIndex(Member member)
{
    qintptr words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#ifdef Q_PROCESSOR_ARM
    const bool isVirtual = (words[1] & 1) != 0;
    const qintptr offset = words[0];
#else
    const bool isVirtual = (words[0] & 1) != 0;
    const qintptr offset = words[0] - 1;
#endif
    return isVirtual ? static_cast<int>(offset / static_cast<qintptr>(sizeof(void *))) : -1;
}

struct TableEntry
{
    const char *name;
    int index;
};

template <typename Class>
QList<TableEntry> interfaceEntries()
{
    return {
        {"Initalize", tableIndex(&Class::Initalize)},
        {"Terminate", tableIndex(&Class::Terminate)},
        {"ConnectController, all", tableIndex(qOverload<>(&Class::ConnectController))},
        {"ConnectController, one",
         tableIndex(qOverload<const QString &>(&Class::ConnectController))},
        {"SendRequestReadData", tableIndex(&Class::SendRequestReadData)},
        {"SendRequestReadFile", tableIndex(&Class::SendRequestReadFile)},
        {"SendRequestReadMemData", tableIndex(&Class::SendRequestReadMemData)},
        {"SendRequestWriteData", tableIndex(&Class::SendRequestWriteData)},
        {"SendRequestWriteFile", tableIndex(&Class::SendRequestWriteFile)},
        {"SendRequestWriteMemData", tableIndex(&Class::SendRequestWriteMemData)},
        {"SendCombinationRequest", tableIndex(&Class::SendCombinationRequest)},
        {"CancelServerAllSend", tableIndex(&Class::CancelServerAllSend)},
        {"CancelServerSend", tableIndex(&Class::CancelServerSend)},
        {"SendStartRequestSpecialPacke", tableIndex(&Class::SendStartRequestSpecialPacke)},
        {"SendEndRequestSpecialPacke", tableIndex(&Class::SendEndRequestSpecialPacke)},
        {"Register", tableIndex(&Class::Register)},
        {"UnRegister", tableIndex(&Class::UnRegister)},
        {"startServer", tableIndex(&Class::startServer)},
        {"exitKVTServer", tableIndex(&Class::exitKVTServer)},
        {"sendPacketData", tableIndex(&Class::sendPacketData)},
        {"makeDeviceExclusive", tableIndex(&Class::makeDeviceExclusive)},
        {"changebaudRate", tableIndex(&Class::changebaudRate)},
        {"isServerProcessRunning", tableIndex(&Class::isServerProcessRunning)},
        {"getErrorCode", tableIndex(&Class::getErrorCode)},
    };
}

QList<QByteArray> ownMethods(const QMetaObject &meta, QMetaMethod::MethodType type)
{
    QList<QByteArray> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == type)
            signatures.append(meta.method(i).methodSignature());
    }
    return signatures;
}

} // namespace

class tst_ProxyInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheOrderOfTheVirtualOperations_data();
    void keepsTheOrderOfTheVirtualOperations();
    void overridesWhatQObjectHasInPlace();
    void addsNoVirtualOperationOfItsOwn();
    void isReachedThroughItsBaseWithoutAnOffset();
    void declaresTheSevenSignalsOfTheBaseInOrder();
    void namesTheBaseAsItsParent();
    void declaresFourSlotsInOrder();
    void declaresNothingElse();
    void castsByName_data();
    void castsByName();
    void callsItsSlotsByIndex();
};

void tst_ProxyInterface::keepsTheOrderOfTheVirtualOperations_data()
{
    QTest::addColumn<int>("inInterface");
    QTest::addColumn<int>("inProxy");
    QTest::addColumn<int>("expected");
    const QList<TableEntry> base = interfaceEntries<IKVTServerBaseProxy>();
    const QList<TableEntry> proxy = interfaceEntries<KVTServerMessageOldProxy>();
    constexpr int ownEntriesOfQObject = 12;
    QCOMPARE(base.size(), 24);
    for (int i = 0; i < base.size(); ++i)
        QTest::newRow(base[i].name) << base[i].index << proxy[i].index << ownEntriesOfQObject + i;
}

void tst_ProxyInterface::keepsTheOrderOfTheVirtualOperations()
{
    QFETCH(int, inInterface);
    QFETCH(int, inProxy);
    QFETCH(int, expected);
    QCOMPARE(inInterface, expected);
    QCOMPARE(inProxy, expected);
}

void tst_ProxyInterface::overridesWhatQObjectHasInPlace()
{
    QCOMPARE(tableIndex(&KVTServerMessageOldProxy::metaObject), 0);
    QCOMPARE(tableIndex(&KVTServerMessageOldProxy::qt_metacast), 1);
    QCOMPARE(tableIndex(&KVTServerMessageOldProxy::qt_metacall), 2);
    QCOMPARE(tableIndex(&KVTServerMessageOldProxy::event), 5);
    QCOMPARE(tableIndex(&KVTServerMessageOldProxy::eventFilter), 6);
}

void tst_ProxyInterface::addsNoVirtualOperationOfItsOwn()
{
    using Proxy = KVTServerMessageOldProxy;
    QCOMPARE(tableIndex(&Proxy::SendRequestOrder), -1);
    QCOMPARE(tableIndex(&Proxy::SetAutoConnectSwitch), -1);
    QCOMPARE(tableIndex(&Proxy::SendCommand), -1);
    QCOMPARE(tableIndex(&Proxy::isConnectedServer), -1);
    QCOMPARE(tableIndex(&Proxy::ServerVer), -1);
    QCOMPARE(tableIndex(&Proxy::packageType), -1);
    QCOMPARE(tableIndex(&Proxy::setPackageType), -1);
    QCOMPARE(tableIndex(&Proxy::initHandle), -1);
    QCOMPARE(tableIndex(&Proxy::CheckServerRestart), -1);
    QCOMPARE(tableIndex(&Proxy::creatMsgClient), -1);
    QCOMPARE(tableIndex(&Proxy::execStartKVTServer), -1);
    QCOMPARE(tableIndex(&Proxy::ReceivedMessage), -1);
    QCOMPARE(tableIndex(&Proxy::ParseEquipmentTable), -1);
    QCOMPARE(tableIndex(&Proxy::GetInfo), -1);
    QCOMPARE(tableIndex(&Proxy::SendThreadFun), -1);
    QCOMPARE(tableIndex(&Proxy::NotifyThreadFun), -1);
    QCOMPARE(tableIndex(&Proxy::sendThreadProc), -1);
    QCOMPARE(tableIndex(&Proxy::notifyThreadProc), -1);
}

void tst_ProxyInterface::isReachedThroughItsBaseWithoutAnOffset()
{
    KVTServerMessageOldProxy proxy;
    IKVTServerBaseProxy *const base = &proxy;
    QObject *const object = &proxy;
    QCOMPARE(static_cast<void *>(base), static_cast<void *>(&proxy));
    QCOMPARE(static_cast<void *>(object), static_cast<void *>(&proxy));
    QCOMPARE(base->getErrorCode(), 4000);
    QVERIFY(base->exitKVTServer());
    QVERIFY(!base->isRegisted());
}

void tst_ProxyInterface::declaresTheSevenSignalsOfTheBaseInOrder()
{
    const QMetaObject &meta = IKVTServerBaseProxy::staticMetaObject;
    QCOMPARE(meta.className(), "IKVTServerBaseProxy");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 7);
    QCOMPARE(ownMethods(meta, QMetaMethod::Signal),
             (QList<QByteArray>{
                 "EquipmentChangeEvent(void*,EventArgs)",
                 "BeginConnectEquipment(void*,ConnectEquipmentEventArgs)",
                 "NotifyRegisterErrEvent(void*,NotifyRegisterErrorEventArgs)",
                 "CompleteConnectEquipment(void*,ConnectEquipmentEventArgs)",
                 "BeginConnectAllController(void*,EventArgs)",
                 "CompleteConnectAllController(void*,EventArgs)",
                 "CallBackBroadcastRecvedReplyEvent(void*,CompletePackageRequestEventArgs)",
             }));
}

void tst_ProxyInterface::namesTheBaseAsItsParent()
{
    const QMetaObject &meta = KVTServerMessageOldProxy::staticMetaObject;
    QCOMPARE(meta.className(), "KVTServerMessageOldProxy");
    QCOMPARE(meta.superClass(), &IKVTServerBaseProxy::staticMetaObject);
    const KVTServerMessageOldProxy proxy;
    QCOMPARE(proxy.metaObject(), &meta);
}

void tst_ProxyInterface::declaresFourSlotsInOrder()
{
    const QMetaObject &meta = KVTServerMessageOldProxy::staticMetaObject;
    QCOMPARE(meta.methodOffset(), IKVTServerBaseProxy::staticMetaObject.methodCount());
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 4);
    QCOMPARE(ownMethods(meta, QMetaMethod::Slot),
             (QList<QByteArray>{"OnReceiveMessage(QByteArray)", "SendThreadFun(bool)",
                                "NotifyThreadFun(bool)", "TimeOut()"}));
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        QCOMPARE(meta.method(i).access(), QMetaMethod::Public);
    QCOMPARE(meta.method(meta.methodOffset()).parameterNames(), QList<QByteArray>{"infos"});
}

void tst_ProxyInterface::declaresNothingElse()
{
    const QMetaObject &meta = KVTServerMessageOldProxy::staticMetaObject;
    QCOMPARE(ownMethods(meta, QMetaMethod::Signal), QList<QByteArray>());
    QCOMPARE(ownMethods(meta, QMetaMethod::Method), QList<QByteArray>());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QCOMPARE(meta.enumeratorCount(), meta.enumeratorOffset());
    QCOMPARE(meta.classInfoCount(), meta.classInfoOffset());
    QCOMPARE(meta.constructorCount(), 0);
}

void tst_ProxyInterface::castsByName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isKnown");
    QTest::newRow("its own name") << QByteArray("KVTServerMessageOldProxy") << true;
    QTest::newRow("the interface's name") << QByteArray("IKVTServerBaseProxy") << true;
    QTest::newRow("QObject") << QByteArray("QObject") << true;
    QTest::newRow("the name of another class") << QByteArray("QTimer") << false;
    QTest::newRow("the beginning of its name") << QByteArray("KVTServerMessageOld") << false;
    QTest::newRow("no name") << QByteArray("") << false;
}

void tst_ProxyInterface::castsByName()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, isKnown);
    KVTServerMessageOldProxy proxy;
    void *const expected = isKnown ? &proxy : nullptr;
    QCOMPARE(proxy.qt_metacast(name.constData()), expected);
    QCOMPARE(proxy.qt_metacast(nullptr), nullptr);
}

void tst_ProxyInterface::callsItsSlotsByIndex()
{
    const TestProxy proxy;
    const int first = KVTServerMessageOldProxy::staticMetaObject.methodOffset();
    QByteArray registration("\0t,1.0", 6);
    bool deleteThread = false;
    void *withBytes[] = {nullptr, &registration};
    void *withFlag[] = {nullptr, &deleteThread};

    proxy->qt_metacall(QMetaObject::InvokeMetaMethod, first, withBytes);
    QVERIFY(proxy->isRegisted());
    QCOMPARE(proxy->ServerVer(), QStringLiteral("1.0"));

    proxy->creatMsgClient();
    proxy->SendCommand(TarnEnum::CancelAllSends, QString());
    proxy->qt_metacall(QMetaObject::InvokeMetaMethod, first + 1, withFlag);
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());

    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QString(), QByteArray());
    proxy->qt_metacall(QMetaObject::InvokeMetaMethod, first + 2, withFlag);
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());

    const LogCapture log;
    void *withNothing[] = {nullptr};
    proxy->qt_metacall(QMetaObject::InvokeMetaMethod, first + 3, withNothing);
    QCOMPARE(
        log.count(QtCriticalMsg, QStringLiteral("KVTServerMessageOldProxy::TimeOut not support")),
        1);
}

KSPROXY_TEST_MAIN(tst_ProxyInterface)
#include "tst_ProxyInterface.moc"
