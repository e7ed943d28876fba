// Starts the device server when none runs, writes data to a piece of equipment, reads it back and
// compares. Exits with 0 only when what was read is what was written.
#include "KVTServerMessageOldProxy.h"
#include "KsProxyTools.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "SpecialPackageRequest.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <functional>

namespace {

constexpr int PatienceMs = 5000;

QTextStream out(stdout);

void say(const QString &text)
{
    out << text << Qt::endl;
}

// Lets the event loop run until something has happened: replies and notifications arrive there.
bool waitFor(const std::function<bool()> &hasHappened)
{
    QElapsedTimer timer;
    timer.start();
    while (!hasHappened()) {
        if (timer.elapsed() > PatienceMs)
            return false;
        QCoreApplication::processEvents(
            QEventLoop::WaitForMoreEvents); // the proxy ticks every 10 ms
    }
    return true;
}

bool registerAtServer(KVTServerMessageOldProxy *proxy)
{
    // A server that has just been started may need a moment until it listens.
    if (!waitFor([proxy] { return proxy->Register(QString(), nullptr, QString()); })) {
        say(QStringLiteral("The server cannot be reached."));
        return false;
    }
    // Register only says that the connection stands. The server has confirmed when its version is
    // in.
    waitFor([proxy] { return !proxy->isRegisted() || !proxy->ServerVer().isEmpty(); });
    if (proxy->ServerVer().isEmpty()) {
        say(QStringLiteral("The server does not confirm the registration."));
        return false;
    }
    say(QStringLiteral("Registered with server version %1.").arg(proxy->ServerVer()));
    return true;
}

void showTable(const KVTServerMessageOldProxy &proxy)
{
    const QMap<QString, EquipmentInfo> table = proxy.equipmentTable();
    say(QStringLiteral("The server knows %1 pieces of equipment:").arg(table.size()));
    for (const EquipmentInfo &equipment : table) {
        const auto state = equipment.intValue == 1 ? QStringLiteral("connected")
                                                   : QStringLiteral("not connected");
        say(QStringLiteral("  %1  %2, %3")
                .arg(equipment.connectionKey, -22)
                .arg(equipment.text, state));
    }
}

bool connectControllers(KVTServerMessageOldProxy *proxy)
{
    bool isComplete = false;
    const QObject scope; // the connections end with this function
    QObject::connect(proxy, &IKVTServerBaseProxy::BeginConnectEquipment, &scope,
                     [](void *, const ConnectEquipmentEventArgs &args) {
                         say(QStringLiteral("Connecting %1 ...").arg(args.portNam()));
                     });
    QObject::connect(proxy, &IKVTServerBaseProxy::CompleteConnectAllController, &scope,
                     [&isComplete] { isComplete = true; });
    if (proxy->ConnectController() && waitFor([&] { return isComplete; }))
        return true;
    say(QStringLiteral("The controllers do not connect."));
    return false;
}

// Sends a request and waits for its reply; false, with the reason said, when there is none or the
// server could not do it.
template <typename Request>
bool carryOut(KVTServerMessageOldProxy *proxy, Request *request,
              bool (KVTServerMessageOldProxy::*send)(Request *), QByteArray *data)
{
    int result = -1;
    request->setCompletionHandler([&](void *, PackageBase *reply) {
        result = reply->getCommResult();
        *data = reply->getData();
        request->deleteLater(); // the request is ours, and done
    });
    if (!(proxy->*send)(request)) {
        delete request; // not queued, so it is still ours alone
        say(QStringLiteral("The request is refused: the registration is gone."));
        return false;
    }
    if (!waitFor([&] { return result >= 0; })) {
        request->setCompletionHandler(nullptr); // still pending: Terminate deletes it
        say(QStringLiteral("No reply to the request."));
        return false;
    }
    if (result != TarnEnum::Success)
        say(QStringLiteral("The server answers with result %1.").arg(result));
    return result == TarnEnum::Success;
}

bool writeAndReadBack(KVTServerMessageOldProxy *proxy, const QString &key)
{
    const QByteArray written("Hello, equipment!");
    QByteArray read;

    auto *const write = new PackageRequestWriteData;
    write->setServerConnectionKey(key);
    write->setLowAddr(0x40);
    write->setData(written);
    if (!carryOut(proxy, write, &KVTServerMessageOldProxy::SendRequestWriteData, &read))
        return false;
    say(QStringLiteral("Wrote %1 bytes to %2.").arg(written.size()).arg(key));

    auto *const request = new PackageRequestReadData;
    request->setServerConnectionKey(key);
    request->setLowAddr(0x40);
    request->setReadLength(written.size());
    if (!carryOut(proxy, request, &KVTServerMessageOldProxy::SendRequestReadData, &read))
        return false;
    say(QStringLiteral("Read back: %1").arg(QString::fromLatin1(read)));
    say(read == written ? QStringLiteral("That is what was written.")
                        : QStringLiteral("That is NOT what was written."));
    return read == written;
}

bool receiveBroadcast(KVTServerMessageOldProxy *proxy)
{
    bool hasArrived = false;
    const QObject scope; // the connection ends with this function
    QObject::connect(proxy, &IKVTServerBaseProxy::CallBackBroadcastRecvedReplyEvent, &scope,
                     [&hasArrived](void *, const CompletePackageRequestEventArgs &args) {
                         say(QStringLiteral("Broadcast: %1")
                                 .arg(QString::fromLatin1(args.request()->getData())));
                         hasArrived = true;
                     });
    SpecialPackageRequest order;
    order.setOrder("identify");
    if (proxy->SendRequestOrder(&order) && waitFor([&] { return hasArrived; }))
        return true;
    say(QStringLiteral("No broadcast arrives."));
    return false;
}

bool run(KVTServerMessageOldProxy *proxy, const QString &serverPath)
{
    proxy->Initalize();
    unsigned long long pid = 0;
    if (KsProxyTools::checkProcessRunning(QStringLiteral("KVTServerMaster"), pid))
        say(QStringLiteral("A device server is running, process %1.").arg(pid));
    else
        say(QStringLiteral("No device server is running: starting %1").arg(serverPath));
    if (!proxy->startServer(serverPath)) {
        say(QStringLiteral("It cannot be started: is there such a program, and may you run it?"));
        return false;
    }
    if (!registerAtServer(proxy) || !connectControllers(proxy))
        return false;
    showTable(*proxy);
    const QMap<QString, EquipmentInfo> table = proxy->equipmentTable();
    return !table.isEmpty() && writeAndReadBack(proxy, table.firstKey()) && receiveBroadcast(proxy);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    KVTServerMessageOldProxy proxy;
    const bool isGood = run(&proxy, arguments.value(1, KsProxyTools::getDefaultServerPath()));
    proxy.UnRegister();
    proxy.Terminate();
    say(isGood ? QStringLiteral("Done.") : QStringLiteral("Failed."));
    return isGood ? 0 : 1;
}
