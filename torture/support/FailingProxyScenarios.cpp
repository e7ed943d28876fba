#include "FailingCalls.h"
#include "FailingScenario.h"
#include "FailingStage.h"
#include "SpecialPackageRequest.h"

#include <QDir>
#include <QLocalServer>

namespace {

using ReadRequest = StageRequest<PackageRequestReadData>;
using WriteRequest = StageRequest<PackageRequestWriteData>;
const QString Key = QStringLiteral("COM1");

Verdict initialiseAndTerminate()
{
    const StageProxy proxy;
    proxy->Initalize();
    proxy->Initalize();
    proxy->Terminate();
    return Verdict::done();
}

Verdict registerWithoutServer()
{
    const StageProxy proxy;
    proxy->Initalize();
    QString version = QStringLiteral("untouched");
    return Verdict::require(!proxy->Register(QString(), &version, QString()) && !proxy->isRegisted()
                                && !proxy->isConnectedServer(),
                            "registered without a server");
}

// The file of the socket is still there.
Verdict registerAtDeadServer()
{
    {
        const FailingCalls::Pause pause;
        QFile file(QDir::tempPath() + QLatin1String("/tarnSver"));
        file.open(QIODevice::WriteOnly);
    }
    const StageProxy proxy;
    proxy->Initalize();
    const bool isRegistered = proxy->Register(QString(), nullptr, QString());
    const FailingCalls::Pause pause;
    QFile::remove(QDir::tempPath() + QLatin1String("/tarnSver"));
    return Verdict::require(!isRegistered && !proxy->isRegisted(), "registered at a dead server");
}

Verdict registerAndUnregister()
{
    StagePeer peer;
    StageProxy proxy;
    Verdict verdict = proxy.registerAtPeer();
    if (verdict.kind == Verdict::Done && proxy->equipmentTable().size() != 2)
        verdict = Verdict::wrong(QStringLiteral("confirmed with another table"));
    proxy->UnRegister();
    proxy->Terminate();
    return verdict;
}

Verdict registerAgain()
{
    StagePeer peer;
    StageProxy proxy;
    Verdict verdict = proxy.registerAtPeer();
    proxy->Terminate();
    return verdict.kind == Verdict::Done ? proxy.registerAtPeer() : verdict;
}

Verdict registerAfterFailure()
{
    StageProxy proxy;
    proxy->Initalize();
    proxy->Register(QString(), nullptr, QString());
    StagePeer peer;
    return proxy.registerAtPeer();
}

Verdict beRejected()
{
    StagePeer peer("2:");
    StageProxy proxy;
    proxy->Initalize();
    if (!proxy->Register(QString(), nullptr, QString()))
        return Verdict::reported();
    return serveUntil([&] { return !proxy->isRegisted(); }) ? Verdict::done()
                                                            : proxy.missing("the rejection");
}

Verdict hearOfRegistrationError()
{
    StagePeer peer("3:");
    StageProxy proxy;
    int errors = 0;
    {
        const FailingCalls::Pause pause;
        QObject::connect(proxy.get(), &IKVTServerBaseProxy::NotifyRegisterErrEvent, proxy.get(),
                         [&errors] { ++errors; });
    }
    proxy->Initalize();
    if (!proxy->Register(QString(), nullptr, QString()))
        return Verdict::reported();
    if (!serveUntil([&] { return !proxy->isRegisted(); }))
        return proxy.missing("the error");
    // The flag tells the error too, if less of it.
    return serveUntil([&] { return errors > 0; }) ? Verdict::done() : Verdict::reported();
}

bool sendOrder(const StageProxy &proxy, const QByteArray &text)
{
    std::unique_ptr<SpecialPackageRequest> order;
    {
        const FailingCalls::Pause pause;
        order = std::make_unique<SpecialPackageRequest>();
        order->setOrder(text);
    }
    return proxy->SendRequestOrder(order.get());
}

// Registers, has the server send a message, and waits for what follows from it.
Verdict receive(const QByteArray &message,
                const std::function<void(KVTServerMessageOldProxy *)> &listen,
                const std::function<bool(KVTServerMessageOldProxy *)> &hasArrived)
{
    StagePeer peer;
    StageProxy proxy;
    {
        const FailingCalls::Pause pause;
        listen(proxy.get());
    }
    Verdict verdict = proxy.registerAtPeer();
    if (verdict.kind != Verdict::Done)
        return verdict;
    if (!sendOrder(proxy, message))
        return Verdict::reported();
    // Commands are dropped without a report when they cannot be written.
    if (serveUntil([&] { return hasArrived(proxy.get()); }))
        return Verdict::done();
    return peer.messages() == 0 ? Verdict::reported() : proxy.missing("a message");
}

QByteArray longTable()
{
    QByteArray table;
    for (int i = 0; i < 50; ++i)
        table += "KEY#*#" + QByteArray::number(i) + "/1/2/text/5,";
    table.chop(1);
    return table;
}

Verdict receiveTable()
{
    return receive(
        "9:" + longTable(), [](KVTServerMessageOldProxy *) {},
        [](KVTServerMessageOldProxy *proxy) { return proxy->equipmentTable().size() == 50; });
}

Verdict receiveControllers()
{
    const auto count = std::make_shared<int>(0);
    return receive(
        "8:" + longTable(),
        [count](KVTServerMessageOldProxy *proxy) {
            QObject::connect(proxy, &IKVTServerBaseProxy::CompleteConnectAllController, proxy,
                             [count] { ++*count; });
        },
        [](KVTServerMessageOldProxy *proxy) { return proxy->equipmentTable().size() == 50; });
}

Verdict receiveBeginning()
{
    const auto ports = std::make_shared<QString>();
    return receive(
        "5:COM9",
        [ports](KVTServerMessageOldProxy *proxy) {
            QObject::connect(proxy, &IKVTServerBaseProxy::BeginConnectEquipment, proxy,
                             [ports](void *, const ConnectEquipmentEventArgs &args) {
                                 *ports = args.portNam();
                             });
        },
        [ports](KVTServerMessageOldProxy *) { return *ports == QLatin1String("COM9"); });
}

Verdict receiveBroadcast()
{
    const auto data = std::make_shared<QByteArray>();
    return receive(
        "18:serialNum=77;commResult=0;dataLength=4;data=YWJjZA==,11",
        [data](KVTServerMessageOldProxy *proxy) {
            QObject::connect(proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, proxy,
                             [data](void *, const CompletePackageRequestEventArgs &args) {
                                 *data = args.request()->getData();
                             });
        },
        [data](KVTServerMessageOldProxy *) { return *data == "abcd"; });
}

Verdict read()
{
    StagePeer peer;
    StageProxy proxy;
    ReadRequest request(&proxy, Key);
    request.package()->setReadLength(100);
    Verdict verdict = proxy.registerAtPeer();
    return verdict.kind == Verdict::Done
        ? request.finish(proxy->SendRequestReadData(request.package()))
        : verdict;
}

Verdict write()
{
    StagePeer peer;
    StageProxy proxy;
    WriteRequest request(&proxy, Key);
    request.package()->setData(QByteArray(300000, 'w'));
    Verdict verdict = proxy.registerAtPeer();
    return verdict.kind == Verdict::Done
        ? request.finish(proxy->SendRequestWriteData(request.package()))
        : verdict;
}

Verdict readSeveral()
{
    StagePeer peer;
    StageProxy proxy;
    constexpr int count = 5;
    std::vector<std::unique_ptr<ReadRequest>> requests;
    std::vector<bool> areSent;
    {
        const FailingCalls::Pause pause;
        for (int i = 0; i < count; ++i) {
            requests.push_back(std::make_unique<ReadRequest>(&proxy, Key));
            requests.back()->package()->setReadLength(1);
        }
        areSent.reserve(count);
    }
    Verdict worst = proxy.registerAtPeer();
    for (const auto &request : requests)
        areSent.push_back(worst.kind == Verdict::Done
                          && proxy->SendRequestReadData(request->package()));
    for (std::size_t i = 0; i < requests.size() && worst.kind != Verdict::Wrong; ++i) {
        Verdict verdict = requests[i]->finish(areSent[i]);
        if (verdict.kind > worst.kind)
            worst = verdict;
    }
    return worst;
}

Verdict command(const std::function<bool(KVTServerMessageOldProxy *)> &order)
{
    StagePeer peer;
    StageProxy proxy;
    Verdict verdict = proxy.registerAtPeer();
    if (verdict.kind != Verdict::Done)
        return verdict;
    if (!order(proxy.get()))
        return Verdict::reported();
    serveUntil([&] { return peer.messages() > 0; });
    // A command that cannot be written is dropped, by contract without a report.
    return peer.messages() > 0 ? Verdict::done() : Verdict::reported();
}

Verdict connectController()
{
    return command([](KVTServerMessageOldProxy *proxy) {
        return proxy->ConnectController(QStringLiteral("COM1"));
    });
}

Verdict switchAutoConnect()
{
    return command(
        [](KVTServerMessageOldProxy *proxy) { return proxy->SetAutoConnectSwitch(true); });
}

Verdict cancelRequests()
{
    return command([](KVTServerMessageOldProxy *proxy) {
        return proxy->CancelServerSend(QStringLiteral("COM1"));
    });
}

Verdict writeToLostServer()
{
    StagePeer peer;
    StageProxy proxy;
    ReadRequest request(&proxy, Key);
    request.package()->setReadLength(1);
    Verdict verdict = proxy.registerAtPeer();
    if (verdict.kind != Verdict::Done)
        return verdict;
    peer.stop();
    const bool isSent = proxy->SendRequestReadData(request.package());
    if (!isSent)
        return Verdict::reported();
    serveUntil([&] { return request.completions() > 0; });
    return request.completions() == 1 && request.result() == TarnEnum::WriteFailed
        ? Verdict::done()
        : proxy.missing("the failure");
}

Verdict terminateWhilePending()
{
    StagePeer peer;
    StageProxy proxy;
    ReadRequest request(&proxy, QStringLiteral("silent"));
    request.package()->setReadLength(1);
    const QPointer<PackageBase> watched(request.package());
    Verdict verdict = proxy.registerAtPeer();
    if (verdict.kind != Verdict::Done)
        return verdict;
    if (!proxy->SendRequestReadData(request.package()))
        return Verdict::reported();
    serveUntil([&] { return peer.messages() > 0 || request.completions() > 0; });
    proxy->Terminate();
    if (request.completions() > 0)
        return Verdict::reported(); // the write failed
    // Once more, since a package that could not be deleted stays pending.
    proxy->Terminate();
    return Verdict::require(!watched, "a pending request was not deleted");
}

Verdict initialiseAgain()
{
    StagePeer peer;
    StageProxy proxy;
    proxy->Initalize();
    proxy->Terminate();
    Verdict verdict = proxy.registerAtPeer();
    proxy->UnRegister();
    return verdict;
}

Verdict parseByHand()
{
    const StageProxy proxy;
    QString part;
    const bool hasPart = proxy->GetInfo(QStringLiteral("abc<def>ghi"), &part);
    const bool isParsed = proxy->ParseEquipmentTable(QString::fromLatin1(longTable()));
    const std::unique_ptr<PackageBase> package(proxy->ParseCompleteRequest(
        QStringLiteral("serialNum=5;tag=abc"), TarnEnum::ReplyReadData));
    auto type = TarnEnum::BroadcastReply;
    auto id = TarnEnum::SendOrder;
    QString text;
    QByteArray bytes;
    if (package) {
        proxy->ParsePackageInfo(package.get(), &type, &text);
        proxy->ParseSendPackageInfo(package.get(), &id, &text);
        proxy->ParseSendPackageQByteArrayInfo(package.get(), &id, &bytes);
    }
    const bool isRight = (!hasPart || part == QLatin1String("abc"))
        && proxy->equipmentTable().size() == (isParsed ? 50 : 0)
        && (!package || package->getSerialNum() == 5);
    const bool isComplete = hasPart && isParsed && package && !text.isEmpty() && !bytes.isEmpty();
    if (!isRight)
        return Verdict::wrong(QStringLiteral("parsed something else"));
    return isComplete ? Verdict::done() : Verdict::reported();
}

Verdict refuseUnsupported()
{
    const StageProxy proxy;
    proxy->creatMsgClient();
    bool isExclusive = true;
    return Verdict::require(
        !proxy->SendRequestReadFile(nullptr) && !proxy->SendRequestWriteFile(nullptr)
            && proxy->makeDeviceExclusive(QString(), 1, isExclusive)
            && proxy->changebaudRate(QString(), 1) && !proxy->isServerProcessRunning(),
        "an operation that is not supported returned something else");
}

// What the server still sends comes to the connection that stays.
Verdict leaveConnection()
{
    StagePeer peer;
    {
        StageProxy proxy;
        Verdict verdict = proxy.registerAtPeer();
        if (verdict.kind != Verdict::Done)
            return verdict;
        if (!sendOrder(proxy, "9:" + longTable()))
            return Verdict::reported();
        serveUntil([&] { return peer.messages() > 0; });
    }
    int passes = 0;
    serveUntil([&passes] { return ++passes > 10; });
    return Verdict::done();
}

} // namespace

std::vector<FailingScenario> proxyScenarios()
{
    return {{"initialise_and_terminate", initialiseAndTerminate},
            {"register_without_server", registerWithoutServer},
            {"register_at_dead_server", registerAtDeadServer},
            {"register_and_unregister", registerAndUnregister},
            {"register_again", registerAgain},
            {"register_after_failure", registerAfterFailure},
            {"be_rejected", beRejected},
            {"hear_of_registration_error", hearOfRegistrationError},
            {"receive_table", receiveTable},
            {"receive_controllers", receiveControllers},
            {"receive_beginning", receiveBeginning},
            {"receive_broadcast", receiveBroadcast},
            {"read", read},
            {"write", write},
            {"read_several", readSeveral},
            {"connect_controller", connectController},
            {"switch_auto_connect", switchAutoConnect},
            {"cancel_requests", cancelRequests},
            {"write_to_lost_server", writeToLostServer},
            {"terminate_while_pending", terminateWhilePending},
            {"initialise_again", initialiseAgain},
            {"leave_connection", leaveConnection},
            {"parse_by_hand", parseByHand},
            {"refuse_unsupported", refuseUnsupported}};
}
