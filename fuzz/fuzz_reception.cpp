// What a proxy makes of the messages it receives, and of the replies that it has queued, with
// requests waiting for them: compared with a model of it.
//
// Input: a byte that chooses how queues are drained, the count of pending requests and commands, a
// byte for each of them, then steps.
#include "BlockingDrain.h"
#include "FuzzApplication.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "KVTServerMessageOldProxy.h"
#include "LivingObjects.h"
#include "NaiveEquipmentTable.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "ReceptionModel.h"
#include "TestAccess.h"

#include <QPointer>

#include <memory>
#include <vector>

namespace {

constexpr int MostPending = 9;
constexpr int SerialNums = 8; // requests have 0 to 7, which new packages must not

// The read/write code and the kind of the package that a reply of that type is.
QPair<int, int> codesOf(int replyType)
{
    switch (replyType) {
    case 11:
        return {0, 0};
    case 12:
        return {0, 1};
    case 13:
        return {0, 2};
    case 14:
        return {1, 0};
    case 15:
        return {1, 1};
    default:
        return {-1, 0};
    }
}

bool isOfType(const PackageBase &package, int replyType)
{
    return codesOf(replyType)
        == QPair<int, int>(package.getReadWriteCode(), package.getClientPackageType());
}

PackageBase *newRequest(int choice)
{
    if (choice == 0)
        return new PackageRequestReadData;
    if (choice == 0x08)
        return new PackageRequestWriteData;
    return new PackageBase;
}

class Execution
{
public:
    Execution(FuzzInput *input, BlockingDrain *blocking)
        : m_input(input)
        , m_blocking(blocking)
    {
        watchSignals();
        addRequests();
    }
    ~Execution()
    {
        for (const QPointer<PackageBase> &request : m_requests)
            delete request;
    }

    void run()
    {
        while (!m_input->isAtEnd())
            step();
        drain();
        deliver();
        terminate();
    }

    int keptObjects() const
    {
        return m_model.keptObjects;
    }

private:
    Q_DISABLE_COPY_MOVE(Execution)

    void watchSignals();
    void addRequests();
    void addRequest(quint8 choice);
    void complete(int index, quint8 choice, PackageBase *reply);

    void step();
    void drain();
    void deliver();
    void terminate();
    void compareState();

    FuzzInput *const m_input;
    BlockingDrain *const m_blocking; // null: the queue is drained on this thread
    ReceptionModel m_model;
    ReceptionModel m_seen; // only what is counted
    KVTServerMessageOldProxy m_proxy;
    QList<QPointer<PackageBase>> m_requests;
    std::vector<std::unique_ptr<PackageBase>> m_takenReplies;
};

void Execution::watchSignals()
{
    using Proxy = KVTServerMessageOldProxy;
    QObject::connect(&m_proxy, &Proxy::EquipmentChangeEvent, [this] { ++m_seen.equipmentChanges; });
    QObject::connect(&m_proxy, &Proxy::BeginConnectEquipment,
                     [this](void *, const ConnectEquipmentEventArgs &args) {
                         m_seen.beginningPorts.append(args.portNam());
                     });
    QObject::connect(&m_proxy, &Proxy::NotifyRegisterErrEvent,
                     [this](void *, const NotifyRegisterErrorEventArgs &args) {
                         fuzzCheck(args.errInfo() == QLatin1String("3"), "the error is 3");
                         ++m_seen.registerErrors;
                     });
    QObject::connect(&m_proxy, &Proxy::BeginConnectAllController,
                     [this] { ++m_seen.allBeginning; });
    QObject::connect(&m_proxy, &Proxy::CompleteConnectAllController,
                     [this] { ++m_seen.allCompleted; });
    QObject::connect(&m_proxy, &Proxy::CallBackBroadcastRecvedReplyEvent,
                     [this](void *, const CompletePackageRequestEventArgs &args) {
                         const int count = m_seen.broadcasts.size();
                         fuzzCheck(count < m_model.broadcasts.size(), "broadcasts are raised once");
                         m_seen.broadcasts.append(m_model.broadcasts.at(count));
                         fuzzCheck(isOfType(*args.request(), m_seen.broadcasts.last()),
                                   "a broadcast is a package of its type");
                     });
}

void Execution::addRequests()
{
    for (int i = m_input->below(MostPending); i > 0; --i)
        addRequest(m_input->byte());
}

// Bits 0 to 2 are the serial number, 3 and 4 what it is, 5 and 6 what its handler does.
void Execution::addRequest(quint8 choice)
{
    const quint64 serialNum = choice % SerialNums;
    if ((choice & 0x18) == 0x18) {
        m_model.pending.append({ReceptionModel::Command, 0});
        TestAccess::requestList(m_proxy).append(nullptr);
        return;
    }
    auto *const package = newRequest(choice & 0x18);
    package->fromString(QStringLiteral("serialNum=%1").arg(serialNum));
    package->setUserToken(package);
    const int index = m_requests.size();
    package->setCompletionHandler([this, index, choice](void *sender, PackageBase *reply) {
        fuzzCheck(sender == &m_proxy, "the proxy is the sender");
        complete(index, choice, reply);
    });
    if (m_blocking != nullptr)
        package->moveToThread(m_blocking); // where its handler runs
    m_model.pending.append({index, serialNum});
    TestAccess::requestList(m_proxy).append(package);
    m_requests.append(package);
}

void Execution::complete(int index, quint8 choice, PackageBase *reply)
{
    PackageBase *const request = m_requests.at(index);
    // What a second completion would call.
    request->setCompletionHandler(
        [](void *, PackageBase *) { fuzzCheck(false, "a request is completed at most once"); });
    const int count = m_seen.completions.size();
    fuzzCheck(count < m_model.completions.size() && m_model.completions.at(count).request == index,
              "a reply completes the newest request with its number, or the oldest");
    m_seen.completions.append(m_model.completions.at(count));
    fuzzCheck(isOfType(*reply, m_seen.completions.last().replyType),
              "a reply is a package of its type");
    fuzzCheck(reply->getUserToken() == request, "a reply has its request's user token");
    if ((choice & 0x20) != 0)
        m_takenReplies.emplace_back(request->takeReply());
    if ((choice & 0x40) != 0)
        throw QStringLiteral("given up");
}

void Execution::step()
{
    switch (m_input->below(8)) {
    default: {
        const QByteArray body = m_input->piece();
        m_model.receive(body);
        m_proxy.OnReceiveMessage(body);
        compareState();
        break;
    }
    case 5:
        drain();
        break;
    case 6:
        deliver();
        break;
    case 7: {
        const bool isByteArrayMode = m_proxy.packageType() == TarnEnum::TextPackage;
        m_model.setByteArrayMode(isByteArrayMode);
        m_proxy.setPackageType(isByteArrayMode ? TarnEnum::ByteArrayPackage
                                               : TarnEnum::TextPackage);
        break;
    }
    }
}

void Execution::drain()
{
    m_model.drain();
    if (m_blocking != nullptr)
        m_blocking->drain(&m_proxy);
    else
        m_proxy.NotifyThreadFun(false);
    fuzzCheck(TestAccess::notifyList(m_proxy).isEmpty(), "nothing is queued after a drain");
    fuzzCheck(TestAccess::requestList(m_proxy).size() == m_model.pending.size(),
              "as many requests are left as there should be");
    fuzzCheck(m_seen.completions == m_model.completions, "every answered request is completed");
    fuzzCheck(m_seen.broadcasts == m_model.broadcasts, "every broadcast is raised");
}

void Execution::deliver()
{
    m_model.deliver();
    FuzzApplication::settle();
    fuzzCheck(m_seen.registerErrors == m_model.registerErrors
                  && m_seen.allBeginning == m_model.allBeginning
                  && m_seen.allCompleted == m_model.allCompleted,
              "each posted signal comes once");
}

// It deletes the requests that still wait, and no other.
void Execution::terminate()
{
    m_proxy.Terminate();
    QSet<int> completed;
    for (const ReceptionModel::Completion &completion : qAsConst(m_seen.completions))
        completed.insert(completion.request);
    for (int i = 0; i < m_requests.size(); ++i)
        fuzzCheck(m_requests.at(i).isNull() != completed.contains(i),
                  "requests that wait are deleted at the end");
    fuzzCheck(m_proxy.equipmentTable().isEmpty(), "no table is left");
    fuzzCheck(m_proxy.isRegisted() == m_model.isRegistered, "the registered flag is left");
}

void Execution::compareState()
{
    fuzzCheck(m_proxy.isRegisted() == m_model.isRegistered, "the registered flag");
    fuzzCheck(m_proxy.ServerVer() == m_model.version, "the server's version");
    fuzzCheck(NaiveEquipmentTable::areEqual(m_proxy.equipmentTable(), m_model.table),
              "the equipment table");
    fuzzCheck(m_seen.beginningPorts == m_model.beginningPorts
                  && m_seen.equipmentChanges == m_model.equipmentChanges,
              "what is not posted is raised at once");
}

// What the library keeps on purpose is released here, or millions of executions would not fit.
void releaseKeptObjects(int count)
{
    const QSet<QObject *> kept = LivingObjects::all();
    fuzzCheck(kept.size() == count, "only what is kept on purpose is left");
    qDeleteAll(kept);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const FuzzApplication application;
    static BlockingDrain blocking;
    static const bool isPrepared = [] {
        for (int i = 0; i < SerialNums; ++i)
            PackageBase();
        LivingObjects::start();
        return true;
    }();
    Q_UNUSED(isPrepared)
    FuzzInput input(data, size);
    const bool isBlocking = input.byte() % 4 == 3; // waking a thread takes a while
    int kept = 0;
    {
        Execution execution(&input, isBlocking ? &blocking : nullptr);
        execution.run();
        kept = execution.keptObjects();
    }
    FuzzApplication::settle();
    releaseKeptObjects(kept);
    return 0;
}
