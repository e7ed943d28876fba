// What the application does when it is called back, in ProxyCell.
#include "ProxyCell.h"

#include "PackageRequestCombination.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteFile.h"
#include "PackageRequestWriteMemData.h"
#include "SpecialPackageRequest.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

namespace {

constexpr int LoopMs = 60; // several ticks
constexpr int ALot = 20;

void runFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

const QList<ProxyCell::NamedStep> &ProxyCell::allDeeds()
{
    static const QList<NamedStep> deeds{
        {"read", &ProxyCell::read},
        {"write", &ProxyCell::write},
        {"read a lot", &ProxyCell::readALot},
        {"send the same again", &ProxyCell::sendAgain},
        {"ask for the unsupported", &ProxyCell::askForTheUnsupported},
        {"connect one", &ProxyCell::connectOne},
        {"connect all", &ProxyCell::connectAll},
        {"cancel all", &ProxyCell::cancelAll},
        {"cancel one", &ProxyCell::cancelOne},
        {"order", &ProxyCell::order},
        {"switch automatic connection", &ProxyCell::switchAutoConnect},
        {"command", &ProxyCell::command},
        {"UnRegister", &ProxyCell::unRegister},
        {"Register", &ProxyCell::registerAgain},
        {"Terminate", &ProxyCell::terminate},
        {"Terminate, Initalize", &ProxyCell::terminateAndInitalize},
        {"UnRegister, Terminate, Initalize, Register", &ProxyCell::beginAnew},
        {"Initalize", &ProxyCell::initalize},
        {"startServer", &ProxyCell::startServer},
        {"ask everything", &ProxyCell::askEverything},
        {"replace the table", &ProxyCell::replaceTable},
        {"raise all signals", &ProxyCell::raiseByHand},
        {"receive by hand", &ProxyCell::receiveByHand},
        {"turn the loops", &ProxyCell::turnLoops},
        {"run an event loop", &ProxyCell::runLoop},
        {"process events", &ProxyCell::processEvents},
        {"run an event loop that terminates", &ProxyCell::runLoopThatTerminates},
        {"run an event loop that registers", &ProxyCell::runLoopThatRegisters},
        {"use another proxy", &ProxyCell::useAnotherProxy},
        {"change the package type", &ProxyCell::changePackageType},
        {"disconnect", &ProxyCell::disconnectAll},
        {"connect more", &ProxyCell::connectMore},
        {"delete the proxy later", &ProxyCell::deleteProxyLater},
        {"delete the request later", &ProxyCell::deleteRequestLater},
        {"delete the reply later", &ProxyCell::deleteReplyLater},
        {"delete the proxy", &ProxyCell::deleteProxy},
        {"delete the request", &ProxyCell::deleteRequest},
        {"delete the reply", &ProxyCell::deleteReply},
        {"run an event loop that deletes the proxy", &ProxyCell::runLoopThatDeletes},
        {"throw a text", &ProxyCell::throwText},
    };
    return deeds;
}

void ProxyCell::read()
{
    auto *const request = newRequest<PackageRequestReadData>();
    request->setReadLength(4);
    request->setCompletionHandler([this](void *, PackageBase *) { ++m_answered; });
    m_sent += m_proxy->SendRequestReadData(request) ? 1 : 0;
}

void ProxyCell::write()
{
    auto *const request = newRequest<PackageRequestWriteData>();
    request->setData("y");
    request->setCompletionHandler([this](void *, PackageBase *) { ++m_answered; });
    m_sent += m_proxy->SendRequestWriteData(request) ? 1 : 0;
}

void ProxyCell::readALot()
{
    for (int i = 0; i < ALot; ++i)
        read();
}

void ProxyCell::sendAgain()
{
    if (!m_request) {
        read();
        return;
    }
    m_request->setCompletionHandler([this](void *, PackageBase *) { ++m_answered; });
    m_sent += m_proxy->SendRequestReadData(m_request) ? 1 : 0;
}

void ProxyCell::askForTheUnsupported()
{
    PackageRequestReadFile readFile;
    PackageRequestReadMemData readMemData;
    PackageRequestWriteFile writeFile;
    SpecialPackageRequest special;
    int result = 0;
    bool exclusive = false;
    m_proxy->SendRequestReadFile(&readFile);
    m_proxy->SendRequestReadMemData(&readMemData);
    m_proxy->SendRequestWriteFile(&writeFile);
    m_proxy->SendRequestWriteMemData(PackageRequestWriteMemData());
    m_proxy->SendCombinationRequest(PackageRequestCombination());
    m_proxy->SendStartRequestSpecialPacke(&special, &result);
    m_proxy->SendEndRequestSpecialPacke(&special, &result);
    m_proxy->sendPacketData("x", 1);
    m_proxy->makeDeviceExclusive(QStringLiteral("COM1"), 9600, exclusive);
    m_proxy->changebaudRate(QStringLiteral("COM1"), 9600);
    m_proxy->TimeOut();
}

void ProxyCell::connectOne()
{
    m_proxy->ConnectController(QStringLiteral("COM1"));
}

void ProxyCell::connectAll()
{
    m_proxy->ConnectController();
}

void ProxyCell::cancelAll()
{
    m_proxy->CancelServerAllSend();
}

void ProxyCell::cancelOne()
{
    m_proxy->CancelServerSend(QStringLiteral("COM1"));
}

void ProxyCell::order()
{
    SpecialPackageRequest request;
    request.setOrder("identify");
    m_proxy->SendRequestOrder(&request);
}

void ProxyCell::switchAutoConnect()
{
    m_proxy->SetAutoConnectSwitch(false);
}

void ProxyCell::command()
{
    m_proxy->SendCommand(TarnEnum::RegisterClient, QString());
}

void ProxyCell::unRegister()
{
    m_proxy->UnRegister();
}

void ProxyCell::registerAgain()
{
    m_proxy->Register(QString(), nullptr, QString());
}

void ProxyCell::terminate()
{
    m_proxy->Terminate();
}

void ProxyCell::terminateAndInitalize()
{
    m_proxy->Terminate();
    m_proxy->Initalize();
}

void ProxyCell::beginAnew()
{
    m_proxy->UnRegister();
    terminateAndInitalize();
    m_proxy->Register(QString(), nullptr, QString());
}

void ProxyCell::initalize()
{
    m_proxy->Initalize();
}

// Once registered it does not look for a process.
void ProxyCell::startServer()
{
    if (m_proxy->isConnectedServer())
        m_proxy->startServer(QString());
}

void ProxyCell::askEverything()
{
    m_proxy->isRegisted();
    m_proxy->isConnectedServer();
    m_proxy->isServerProcessRunning();
    m_proxy->getErrorCode();
    m_proxy->ServerVer();
    m_proxy->equipmentTable();
    m_proxy->packageType();
    m_proxy->MatchRequest(1);
    m_proxy->exitKVTServer();
    m_proxy->initHandle();
    m_proxy->CheckServerRestart();
}

void ProxyCell::replaceTable()
{
    m_proxy->clearEquipmentTable();
    m_proxy->ParseEquipmentTable(QStringLiteral("k/1/2/A/5"));
    m_proxy->setEquipmentTable({{QStringLiteral("j"), EquipmentInfo()}});
}

void ProxyCell::raiseByHand()
{
    ConnectEquipmentEventArgs port;
    EventArgs args;
    m_proxy->OnBeginConnectEquipment(this, &port);
    m_proxy->OnEquipmentChangeEvent(this, &args);
    m_proxy->OnBeginConnectAllController(this, new EventArgs);
    m_proxy->OnNotifyRegisterErr(this, new NotifyRegisterErrorEventArgs);
    m_proxy->OnCompleteConnectAllControllerr(this, nullptr);
}

void ProxyCell::receiveByHand()
{
    m_proxy->OnReceiveMessage(QByteArray("\x09k/1/2/A/5"));
    m_proxy->OnReceiveMessage(QByteArray("\x05"
                                         "COM1"));
    m_proxy->OnReceiveMessage(QByteArray("\x12serialNum=1,14"));
    m_proxy->ReceivedMessage(TarnEnum::ServerAlive, QString(), QByteArray());
}

void ProxyCell::turnLoops()
{
    read();
    m_proxy->SendThreadFun(false);
    m_proxy->NotifyThreadFun(false);
}

void ProxyCell::runLoop()
{
    read();
    runFor(LoopMs);
}

void ProxyCell::processEvents()
{
    read();
    QCoreApplication::processEvents();
}

void ProxyCell::runLoopThatTerminates()
{
    QTimer::singleShot(0, m_proxy, [this] { m_proxy->Terminate(); });
    runFor(LoopMs);
}

void ProxyCell::runLoopThatRegisters()
{
    QTimer::singleShot(0, m_proxy, [this] { beginAnew(); });
    runFor(LoopMs);
}

void ProxyCell::useAnotherProxy()
{
    KVTServerMessageOldProxy other;
    other.Initalize();
    other.Register(QString(), nullptr, QString());
    other.ConnectController();
    runFor(LoopMs);
}

void ProxyCell::changePackageType()
{
    m_proxy->setPackageType(TarnEnum::ByteArrayPackage);
    QCoreApplication::processEvents();
    if (!m_proxy.isNull())
        m_proxy->setPackageType(TarnEnum::TextPackage);
}

void ProxyCell::disconnectAll()
{
    m_proxy->disconnect(this);
}

void ProxyCell::connectMore()
{
    connect(m_proxy, &IKVTServerBaseProxy::EquipmentChangeEvent, this, [] {});
    connect(m_proxy, &IKVTServerBaseProxy::BeginConnectEquipment, this, [] {});
    connect(m_proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, this, [] {});
}

void ProxyCell::deleteProxyLater()
{
    m_proxy->deleteLater();
}

void ProxyCell::deleteRequestLater()
{
    if (m_request)
        m_request->deleteLater();
}

void ProxyCell::deleteReplyLater()
{
    if (m_reply)
        m_reply->deleteLater();
}

void ProxyCell::deleteProxy()
{
    delete m_proxy;
}

void ProxyCell::deleteRequest()
{
    delete m_request;
}

void ProxyCell::deleteReply()
{
    delete m_reply;
}

void ProxyCell::runLoopThatDeletes()
{
    QTimer::singleShot(0, m_proxy, [this] { delete m_proxy; });
    runFor(LoopMs);
}

// Caught where a reply completes a request, and nowhere else.
void ProxyCell::throwText()
{
    if (m_mayThrow)
        throw QStringLiteral("thrown");
}
