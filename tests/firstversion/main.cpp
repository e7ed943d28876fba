// What an application of version 1.0 relies on: sizes and places of members, virtual operations of
// its own in the library's tables, signals by their signature. Exits with 0 only when the library
// still keeps all of it.
#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "KVTServerMessageOldProxy.h"
#include "KsProxyTools.h"
#include "MsgThread.h"
#include "NotifyStruct.h"
#include "PackageRequestCombination.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteMemData.h"
#include "SpecialPackageRequest.h"

#include <QCoreApplication>
#include <QDebug>
#include <QElapsedTimer>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

namespace {

// Of a machine with pointers of 8 bytes.
static_assert(sizeof(LanAdditionalInfo) == 32 && sizeof(EquipmentInfo) == 136);
static_assert(offsetof(EquipmentInfo, longValue) == 8 && offsetof(EquipmentInfo, text) == 24);
static_assert(offsetof(EquipmentInfo, connectionKey) == 32
              && offsetof(EquipmentInfo, intValue) == 48);
static_assert(offsetof(EquipmentInfo, children) == 128);
static_assert(sizeof(EventArgs) == 4 && sizeof(ConnectEquipmentEventArgs) == 16);
static_assert(sizeof(NotifyRegisterErrorEventArgs) == 16
              && sizeof(CompletePackageRequestEventArgs) == 16);
static_assert(sizeof(PackageBase) == 72 && sizeof(PackageRequestReadData) == 72);
static_assert(sizeof(PackageRequestWriteData) == 72 && sizeof(SpecialPackageRequest) == 80);
static_assert(sizeof(IKVTServerBaseProxy) == 40);
static_assert(sizeof(EquipmentAddress) == 24 && sizeof(DeviceBroadcast) == 48);
static_assert(sizeof(SessionError) == 24 && sizeof(SessionOptions) == 40
              && sizeof(ReconnectPolicy) == 8);
static_assert(sizeof(DeviceSession) == 24 && sizeof(DeviceReply) == 24
              && sizeof(DeviceTransfer) == 24);
static_assert(offsetof(SessionOptions, startTimeoutMs) == 12
              && offsetof(SessionOptions, registrationTimeoutMs) == 16
              && offsetof(SessionOptions, requestTimeoutMs) == 20
              && offsetof(SessionOptions, silenceLimitMs) == 24
              && offsetof(SessionOptions, reconnect) == 28);
static_assert(offsetof(DeviceBroadcast, data) == 24 && offsetof(DeviceBroadcast, tag) == 32
              && offsetof(DeviceBroadcast, result) == 40 && offsetof(DeviceBroadcast, isRead) == 44
              && offsetof(DeviceBroadcast, isWrite) == 45);
static_assert(offsetof(EquipmentAddress, address) == 8 && offsetof(EquipmentAddress, port) == 12
              && offsetof(EquipmentAddress, scanBoard) == 16
              && offsetof(EquipmentAddress, deviceType) == 20);
// Compiled into applications.
static_assert(DeviceSession::DefaultTimeout == -1
              && DeviceSession::MaxRequestBytes == 8 * 1024 * 1024);
static_assert(static_cast<int>(SessionError::Code::OutOfMemory) == 20);
static_assert(static_cast<int>(DeviceSession::State::Lost) == 5);

void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "firstversion: not kept: %s\n", what);
    std::exit(1);
}

void waitFor(const std::function<bool()> &hasHappened, const char *what)
{
    QElapsedTimer timer;
    timer.start();
    while (!hasHappened()) {
        require(timer.elapsed() < 20000, what);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

/// An object in memory of exactly the size that it had, between bytes that nobody may touch.
template <typename Object>
class Fenced
{
public:
    template <typename... Arguments>
    explicit Fenced(Arguments... arguments)
    {
        std::memset(m_bytes, FenceByte, sizeof m_bytes);
        m_object = new (m_bytes + FenceSize) Object(arguments...);
    }
    Fenced(const Fenced &) = delete;
    Fenced &operator=(const Fenced &) = delete;
    ~Fenced()
    {
        m_object->~Object();
        for (int i = 0; i < FenceSize; ++i) {
            const bool isWhole
                = m_bytes[i] == FenceByte && m_bytes[FenceSize + sizeof(Object) + i] == FenceByte;
            require(isWhole, "the size of an object");
        }
    }

    Object *operator->()
    {
        return m_object;
    }
    Object *get()
    {
        return m_object;
    }

private:
    static constexpr int FenceSize = 64;
    static constexpr unsigned char FenceByte = 0xA5;

    alignas(std::max_align_t) unsigned char m_bytes[sizeof(Object) + 2 * FenceSize];
    Object *m_object;
};

/// A kind of package of the application's own.
class OwnPackage : public PackageRequestReadData
{
public:
    int getReadLength() const override
    {
        ++asked;
        return PackageRequestReadData::getReadLength();
    }
    QString toRequestString() const override
    {
        ++written;
        return PackageRequestReadData::toRequestString();
    }

    mutable int asked = 0;
    mutable int written = 0;
};

/// A proxy of the application's own, as a stand-in for its tests.
class OwnProxy : public IKVTServerBaseProxy
{
public:
    void Initalize() override { }
    void Terminate() override { }
    bool ConnectController() override
    {
        return false;
    }
    bool ConnectController(const QString &) override
    {
        return false;
    }
    bool SendRequestReadData(PackageRequestReadData *) override
    {
        return false;
    }
    bool SendRequestReadFile(PackageRequestReadFile *) override
    {
        return false;
    }
    bool SendRequestReadMemData(PackageRequestReadMemData *) override
    {
        return false;
    }
    bool SendRequestWriteData(PackageRequestWriteData *) override
    {
        return false;
    }
    bool SendRequestWriteFile(PackageRequestWriteFile *) override
    {
        return false;
    }
    bool SendRequestWriteMemData(PackageRequestWriteMemData) override
    {
        return false;
    }
    bool SendCombinationRequest(PackageRequestCombination) override
    {
        return false;
    }
    bool CancelServerAllSend() override
    {
        return false;
    }
    bool CancelServerSend(const QString &) override
    {
        return false;
    }
    bool SendStartRequestSpecialPacke(SpecialPackageRequest *, int *) override
    {
        return false;
    }
    bool SendEndRequestSpecialPacke(SpecialPackageRequest *, int *) override
    {
        return false;
    }
    bool Register(const QString &, QString *, const QString &) override
    {
        return false;
    }
    bool UnRegister() override
    {
        return false;
    }
    bool startServer(const QString &) override
    {
        return false;
    }
    bool exitKVTServer() override
    {
        return false;
    }
    void sendPacketData(const QByteArray &, int) override { }
    bool makeDeviceExclusive(const QString &, const int &, bool &) override
    {
        return false;
    }
    bool changebaudRate(const QString &, const unsigned long &) override
    {
        return false;
    }
    bool isServerProcessRunning() override
    {
        return false;
    }
    int getErrorCode() override
    {
        return 17;
    }
};

void useTheInterface()
{
    Fenced<OwnProxy> own;
    IKVTServerBaseProxy *const proxy = own.get();
    int changes = 0;
    QObject::connect(proxy, &IKVTServerBaseProxy::EquipmentChangeEvent, proxy,
                     [&changes](void *, const EventArgs &args) { changes += args.value(); });
    Q_EMIT proxy->EquipmentChangeEvent(proxy, EventArgs(3));
    require(changes == 3, "a signal of the interface");
    EquipmentInfo record;
    record.intValue = 1;
    proxy->setEquipmentTable({{QStringLiteral("key"), record}});
    require(proxy->equipmentTable().first().intValue == 1, "the equipment table");
    require(proxy->getErrorCode() == 17, "an own operation of the interface");
}

void useTheProxy()
{
    Fenced<KVTServerMessageOldProxy> proxy;
    IKVTServerBaseProxy *const interface = proxy.get(); // through the table of virtual operations
    require(interface->getErrorCode() == 4000, "the last operation of the interface");
    interface->Initalize();
    require(interface->startServer(QString()), "starting the server");
    waitFor([&] { return interface->Register(QString(), nullptr, QString()); }, "connecting");
    waitFor([&] { return !proxy->ServerVer().isEmpty(); }, "registering");
    const QMap<QString, EquipmentInfo> table = interface->equipmentTable();
    require(table.value(QStringLiteral("COM1")).connectionKey == QLatin1String("COM1"), "a record");

    OwnPackage request;
    QByteArray data;
    request.setServerConnectionKey(QStringLiteral("COM1"));
    request.setReadLength(4);
    request.setCompletionHandler([&data](void *, PackageBase *reply) { data = reply->getData(); });
    require(interface->SendRequestReadData(&request), "queueing a request");
    waitFor([&] { return !data.isEmpty(); }, "the reply to a request");
    require(data.size() == 4, "the data of a reply");
    require(request.asked > 0, "an own operation of a package");
    require(request.written == 1, "an own text of a package");
    require(interface->UnRegister(), "unregistering");
    interface->Terminate();
}

void useTheWorker()
{
    Fenced<MsgThread> worker(1, nullptr);
    QAtomicInt beats;
    QObject::connect(
        worker.get(), &MsgThread::doInfo, worker.get(), [&beats] { ++beats; },
        Qt::DirectConnection);
    worker->start();
    waitFor([&] { return beats.loadRelaxed() > 2; }, "the beat of a worker");
    worker->setStop(true);
    require(worker->wait(10000), "the end of a worker");
    Fenced<NotifyStruct> entry{};
    entry->setInfo(QStringLiteral("text"));
    require(entry->strinfo() == QLatin1String("text") && entry->getId().size() == 38, "an entry");
}

void useTheSession()
{
    Fenced<DeviceSession> session(nullptr);
    SessionOptions options;
    options.requestTimeoutMs = 2000;
    QList<DeviceSession::State> states;
    QObject::connect(session.get(), &DeviceSession::stateChanged, session.get(),
                     [&states](DeviceSession::State state) { states.append(state); });
    require(session->open(options), "opening a session");
    waitFor([&] { return states.contains(DeviceSession::State::Ready); },
            "a session that is ready");

    const EquipmentAddress address(QStringLiteral("COM1"), 0x40);
    DeviceReply *const reply = session->write(address, "first version");
    waitFor([&] { return reply->isFinished(); }, "the end of a write");
    require(reply->error() == SessionError::Code::None, "a write");
    Fenced<DeviceTransfer> transfer(session.get(), nullptr);
    transfer->setChunkBytes(5);
    transfer->read(address, 13);
    waitFor([&] { return transfer->isFinished(); }, "the end of a transfer");
    require(transfer->data() == "first version", "what a transfer reads");
    session->close();
    require(session->state() == DeviceSession::State::Closed, "closing a session");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    useTheInterface();
    useTheWorker();
    useTheProxy();
    useTheSession();
    std::puts("Done.");
    return 0;
}
