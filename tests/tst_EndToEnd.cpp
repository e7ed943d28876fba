#include "KVTServerMessageOldProxy.h"
#include "PackageRequestReadData.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "RawClient.h"
#include "ServerProcess.h"
#include "SpecialPackageRequest.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QElapsedTimer>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>

namespace {

/// What a request was completed with.
struct Completion
{
    int times = 0;
    int result = -1;
    QByteArray data;
    quint64 serial = 0;
    bool isSelf = false;
};

// The request deletes itself when it is done.
template <typename Request>
Request *newRequest(const char *key, Completion *completion)
{
    auto *const request = new Request;
    request->setServerConnectionKey(QString::fromLatin1(key));
    request->setCompletionHandler([request, completion](void *, PackageBase *reply) {
        ++completion->times;
        completion->result = reply->getCommResult();
        completion->data = reply->getData();
        completion->serial = reply->getSerialNum();
        completion->isSelf = reply == request;
        request->deleteLater();
    });
    return request;
}

} // namespace

class tst_EndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void registersBeforeTheServerConfirms();
    void learnsOfARefusalLater_data();
    void learnsOfARefusalLater();
    void connectsControllers();
    void writesAndReadsBack();
    void readsMemoryDataThroughTheOpenDoor();
    void learnsThatThereIsNoSuchEquipment();
    void completesEachOfManyRequestsWithItsOwnReply();
    void completesACancelledRequest();
    void hearsOfAnotherClientsWrite();
    void receivesTheAnswerToAnOrder();
    void losesItsRegistrationWhenTheServerEnds();
    void failsRequestsOnceTheServerWasKilled();
    void deletesPendingRequestsWithoutCompletingThem();
    void servesTwoProxiesAtOnce();
    void startsAfreshAfterTerminate();

private:
    void start(const QStringList &arguments = QStringList());
    bool registerAtServer();

    QScopedPointer<ServerProcess> m_server;
    QScopedPointer<KVTServerMessageOldProxy> m_proxy;
};

void tst_EndToEnd::init()
{
    m_server.reset(new ServerProcess);
    m_proxy.reset(new KVTServerMessageOldProxy);
}

void tst_EndToEnd::cleanup()
{
    m_proxy.reset();
    m_server.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void tst_EndToEnd::start(const QStringList &arguments)
{
    QVERIFY2(m_server->start(arguments), qPrintable(m_server->errors()));
    m_proxy->Initalize();
}

bool tst_EndToEnd::registerAtServer()
{
    return m_proxy->Register(QString(), nullptr, QString())
        && QTest::qWaitFor([this] { return !m_proxy->ServerVer().isEmpty(); }, WaitLimitMs);
}

void tst_EndToEnd::registersBeforeTheServerConfirms()
{
    start();
    QString version = QStringLiteral("overwritten");
    QVERIFY(m_proxy->Register(QStringLiteral("name"), &version, QStringLiteral("1")));
    QCOMPARE(version, QString());
    QVERIFY(m_proxy->isRegisted());
    QVERIFY(m_proxy->isConnectedServer());
    QTRY_COMPARE_WITH_TIMEOUT(m_proxy->ServerVer(), QStringLiteral(KSPROXY_VERSION), WaitLimitMs);
    QCOMPARE(m_proxy->equipmentTable().size(), 5);
    const EquipmentInfo board = m_proxy->equipmentTable().value(QStringLiteral("COM1/1"));
    QCOMPARE(board.connectionKey, QStringLiteral("COM1/1"));
    QCOMPARE(board.shortValue, qint16(2));
    QCOMPARE(board.longValue, qint64(2001));
    QCOMPARE(board.text, QStringLiteral("Scan board 1"));
    QCOMPARE(board.intValue, 0);
}

void tst_EndToEnd::learnsOfARefusalLater_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<int>("signalCount");
    QTest::newRow("rejected") << QStringLiteral("reject") << 0;
    QTest::newRow("error") << QStringLiteral("error") << 1;
}

void tst_EndToEnd::learnsOfARefusalLater()
{
    QFETCH(QString, answer);
    QFETCH(int, signalCount);
    start({QStringLiteral("--register"), answer});
    QStringList errors;
    connect(
        m_proxy.data(), &IKVTServerBaseProxy::NotifyRegisterErrEvent, this,
        [&](void *, const NotifyRegisterErrorEventArgs &args) { errors.append(args.errInfo()); });
    QVERIFY(m_proxy->Register(QString(), nullptr, QString()));
    QTRY_VERIFY_WITH_TIMEOUT(!m_proxy->isRegisted(), WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), signalCount, WaitLimitMs);
    QCOMPARE(errors.value(0), signalCount == 1 ? QStringLiteral("3") : QString());
    QVERIFY(!m_proxy->ConnectController());
}

void tst_EndToEnd::connectsControllers()
{
    start();
    QVERIFY(registerAtServer());
    QStringList ports;
    connect(m_proxy.data(), &IKVTServerBaseProxy::BeginConnectEquipment, this,
            [&](void *, const ConnectEquipmentEventArgs &args) { ports.append(args.portNam()); });
    QSignalSpy begun(m_proxy.data(), &IKVTServerBaseProxy::BeginConnectAllController);
    QSignalSpy complete(m_proxy.data(), &IKVTServerBaseProxy::CompleteConnectAllController);
    QSignalSpy changed(m_proxy.data(), &IKVTServerBaseProxy::EquipmentChangeEvent);
    QVERIFY(m_proxy->ConnectController(QStringLiteral("COM1")));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, WaitLimitMs);
    QCOMPARE(ports, QStringList{QStringLiteral("COM1")});
    QCOMPARE(m_proxy->equipmentTable().value(QStringLiteral("COM1/2")).intValue, 1);
    QCOMPARE(m_proxy->equipmentTable().value(QStringLiteral("192.168.0.20:5000")).intValue, 0);
    QVERIFY(m_proxy->ConnectController());
    QTRY_COMPARE_WITH_TIMEOUT(complete.size(), 1, WaitLimitMs);
    QCOMPARE(begun.size(), 1);
    QCOMPARE(complete.at(0).at(1).value<EventArgs>().value(), 15);
    QCOMPARE(m_proxy->equipmentTable().value(QStringLiteral("192.168.0.20:5000")).intValue, 1);
}

void tst_EndToEnd::writesAndReadsBack()
{
    start();
    QVERIFY(registerAtServer());
    QByteArray data;
    for (int i = 0; i < 256; ++i)
        data.append(static_cast<char>(i));
    Completion written;
    auto *const write = newRequest<PackageRequestWriteData>("COM1/1", &written);
    write->setHighAddr(0);
    write->setLowAddr(0x1234);
    write->setData(data);
    const quint64 writeSerial = write->getSerialNum();
    QVERIFY(m_proxy->SendRequestWriteData(write));
    QTRY_COMPARE_WITH_TIMEOUT(written.times, 1, WaitLimitMs);
    QCOMPARE(written.result, int(TarnEnum::Success));
    QCOMPARE(written.serial, writeSerial);
    QVERIFY(!written.isSelf);

    Completion read;
    auto *const request = newRequest<PackageRequestReadData>("COM1/1", &read);
    request->setLowAddr(0x1234);
    request->setReadLength(data.size());
    QVERIFY(m_proxy->SendRequestReadData(request));
    QTRY_COMPARE_WITH_TIMEOUT(read.times, 1, WaitLimitMs);
    QCOMPARE(read.data, data);
}

void tst_EndToEnd::readsMemoryDataThroughTheOpenDoor()
{
    start();
    QVERIFY(registerAtServer());
    Completion read;
    auto *const request = newRequest<PackageRequestReadMemData>("COM1", &read);
    request->setReadLength(3);
    QVERIFY(m_proxy->SendPackageMessage(request));
    QTRY_COMPARE_WITH_TIMEOUT(read.times, 1, WaitLimitMs);
    QCOMPARE(read.data, QByteArray(3, '\0'));
}

void tst_EndToEnd::learnsThatThereIsNoSuchEquipment()
{
    start();
    QVERIFY(registerAtServer());
    Completion read;
    auto *const request = newRequest<PackageRequestReadData>("nowhere", &read);
    request->setReadLength(1);
    QVERIFY(m_proxy->SendRequestReadData(request));
    QTRY_COMPARE_WITH_TIMEOUT(read.times, 1, WaitLimitMs);
    QCOMPARE(read.result, int(TarnEnum::NoEquipment));
}

void tst_EndToEnd::completesEachOfManyRequestsWithItsOwnReply()
{
    start();
    QVERIFY(registerAtServer());
    constexpr int count = 60;
    std::vector<Completion> written(count);
    std::vector<Completion> read(count);
    QList<quint64> serials;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        auto *const write = newRequest<PackageRequestWriteData>("COM1", &written[size_t(i)]);
        write->setLowAddr(static_cast<quint16>(i * 4));
        write->setData(QByteArray::number(1000 + i));
        QVERIFY(m_proxy->SendRequestWriteData(write));
        auto *const request = newRequest<PackageRequestReadData>("COM1", &read[size_t(i)]);
        request->setLowAddr(static_cast<quint16>(i * 4));
        request->setReadLength(4);
        serials.append(request->getSerialNum());
        QVERIFY(m_proxy->SendRequestReadData(request));
    }
    QTRY_COMPARE_WITH_TIMEOUT(read.back().times, 1, WaitLimitMs);
    // One message leaves per tick of 10 ms, so the last of 120 cannot be faster than this.
    QVERIFY(timer.elapsed() >= 119 * 9);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(written[size_t(i)].times, 1);
        QCOMPARE(read[size_t(i)].times, 1);
        QCOMPARE(read[size_t(i)].serial, serials.at(i));
        QCOMPARE(read[size_t(i)].data, QByteArray::number(1000 + i));
    }
}

void tst_EndToEnd::completesACancelledRequest()
{
    start({QStringLiteral("--latency"), QStringLiteral("600000")});
    QVERIFY(registerAtServer());
    Completion first;
    Completion second;
    auto *const here = newRequest<PackageRequestReadData>("COM1", &first);
    here->setReadLength(1);
    auto *const there = newRequest<PackageRequestReadData>("COM1/1", &second);
    there->setReadLength(1);
    QVERIFY(m_proxy->SendRequestReadData(here));
    QVERIFY(m_proxy->SendRequestReadData(there));
    QVERIFY(m_proxy->CancelServerSend(QStringLiteral("COM1/1")));
    QTRY_COMPARE_WITH_TIMEOUT(second.times, 1, WaitLimitMs);
    QCOMPARE(second.result, int(TarnEnum::Cancelled));
    QCOMPARE(first.times, 0);
    QVERIFY(m_proxy->CancelServerAllSend());
    QTRY_COMPARE_WITH_TIMEOUT(first.times, 1, WaitLimitMs);
    QCOMPARE(first.result, int(TarnEnum::Cancelled));
}

void tst_EndToEnd::hearsOfAnotherClientsWrite()
{
    start();
    QVERIFY(registerAtServer());
    QByteArray data;
    QString key;
    connect(m_proxy.data(), &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [&](void *, const CompletePackageRequestEventArgs &args) {
                data = args.request()->getData();
                key = args.request()->getSeverConnectionKey();
            });
    RawClient other;
    QVERIFY(other.connectToServer());
    other.send(10, "serialNum=1;serverConnectionKey=COM1;data=bmV3cw==");
    QTRY_COMPARE_WITH_TIMEOUT(data, QByteArray("news"), WaitLimitMs);
    QCOMPARE(key, QStringLiteral("COM1"));
}

void tst_EndToEnd::receivesTheAnswerToAnOrder()
{
    start();
    QVERIFY(registerAtServer());
    QString tag;
    connect(m_proxy.data(), &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this,
            [&](void *, const CompletePackageRequestEventArgs &args) {
                tag = args.request()->getTag();
            });
    SpecialPackageRequest order;
    order.setOrder("identify");
    QVERIFY(m_proxy->SendRequestOrder(&order));
    QTRY_COMPARE_WITH_TIMEOUT(tag, QStringLiteral("identify"), WaitLimitMs);
}

void tst_EndToEnd::losesItsRegistrationWhenTheServerEnds()
{
    start();
    QVERIFY(registerAtServer());
    m_server->terminate();
    QTRY_VERIFY_WITH_TIMEOUT(!m_proxy->isRegisted(), WaitLimitMs);
    QCOMPARE(m_proxy->ServerVer(), QString());
    QVERIFY(m_proxy->equipmentTable().isEmpty());
}

void tst_EndToEnd::failsRequestsOnceTheServerWasKilled()
{
    start();
    QVERIFY(registerAtServer());
    m_server->kill();
    QVERIFY(m_server->waitForEnd());
    QVERIFY(m_proxy->isRegisted()); // nothing tells
    // What is written before the socket has noticed is lost without a word: ask again and again.
    Completion failed;
    const auto askAgain = [&] {
        auto *const request = newRequest<PackageRequestReadData>("COM1", &failed);
        request->setReadLength(1);
        return m_proxy->SendRequestReadData(request);
    };
    QTRY_VERIFY_WITH_TIMEOUT(askAgain() && failed.times > 0, WaitLimitMs);
    QCOMPARE(failed.result, int(TarnEnum::WriteFailed));
    QVERIFY(failed.isSelf);
    // The socket counts as open, so a new server is not connected to.
    QVERIFY(m_server->start());
    QVERIFY(m_proxy->Register(QString(), nullptr, QString()));
    failed = Completion();
    QVERIFY(askAgain());
    QTRY_VERIFY_WITH_TIMEOUT(failed.times > 0, WaitLimitMs);
    QCOMPARE(failed.result, int(TarnEnum::WriteFailed));
    m_proxy->Terminate(); // the lost ones are still pending and refer to this function
}

void tst_EndToEnd::deletesPendingRequestsWithoutCompletingThem()
{
    start({QStringLiteral("--latency"), QStringLiteral("600000")});
    QVERIFY(registerAtServer());
    RawClient other;
    QVERIFY(other.registerAtServer());
    Completion completion;
    const QPointer<PackageBase> request(newRequest<PackageRequestReadData>("COM1", &completion));
    static_cast<PackageRequestReadData *>(request.data())->setReadLength(1);
    QVERIFY(m_proxy->SendRequestReadData(static_cast<PackageRequestReadData *>(request.data())));
    // An order sent after it has been answered: so the request has left and is pending.
    SpecialPackageRequest order;
    order.setOrder("identify");
    QVERIFY(m_proxy->SendRequestOrder(&order));
    QTRY_COMPARE_WITH_TIMEOUT(other.count(18), 1, WaitLimitMs);
    m_proxy->Terminate();
    QVERIFY(!request);
    QCOMPARE(completion.times, 0);
}

void tst_EndToEnd::servesTwoProxiesAtOnce()
{
    start();
    QVERIFY(registerAtServer());
    KVTServerMessageOldProxy second;
    second.Initalize();
    QVERIFY(second.Register(QString(), nullptr, QString()));
    QTRY_VERIFY_WITH_TIMEOUT(!second.ServerVer().isEmpty(), WaitLimitMs);
    QSignalSpy changed(&second, &IKVTServerBaseProxy::EquipmentChangeEvent);
    QVERIFY(m_proxy->ConnectController(QStringLiteral("COM1")));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, WaitLimitMs);
    QCOMPARE(second.equipmentTable().value(QStringLiteral("COM1")).intValue, 1);
}

void tst_EndToEnd::startsAfreshAfterTerminate()
{
    start();
    QVERIFY(registerAtServer());
    QVERIFY(m_proxy->UnRegister());
    m_proxy->Terminate();
    m_proxy->Initalize();
    QVERIFY(registerAtServer());
    Completion read;
    auto *const request = newRequest<PackageRequestReadData>("COM1", &read);
    request->setReadLength(2);
    QVERIFY(m_proxy->SendRequestReadData(request));
    QTRY_COMPARE_WITH_TIMEOUT(read.times, 1, WaitLimitMs);
    QCOMPARE(read.data, QByteArray(2, '\0'));
}

KSPROXY_TEST_MAIN(tst_EndToEnd)
#include "tst_EndToEnd.moc"
