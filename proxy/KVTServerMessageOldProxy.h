#ifndef KVTSERVERMESSAGEOLDPROXY_H
#define KVTSERVERMESSAGEOLDPROXY_H

#include "IKVTServerBaseProxy.h"
#include "TarnEnum.h"
#include "ksproxyoldclient_export.h"

#include <QEvent>
#include <QList>
#include <QMutex>
#include <QPointer>
#include <QString>
#include <QWaitCondition>

#include <atomic>
#include <memory>

class MsgSocketClient;
class MsgThread;
class NotifyStruct;
class PackageBase;

/// Reaches the device server over the local socket "tarnSver". The old implementation of the
/// interface: several operations are not supported and only say so in the log.
///
/// Construct, `Initalize`, optionally `startServer`, `Register`; then commands and requests, while
/// the event loop runs; at the end `UnRegister`, `Terminate` and destruction. The proxy lives on
/// one thread, the application's: call everything there unless an operation says otherwise;
/// commands and requests may be queued from any thread. What
/// is sent waits in a queue from which one message leaves every 10 ms. Operations report failure
/// by what they return, also when memory runs out, which is logged as "out of memory" at critical
/// level; nothing is thrown but what an application's own completion handler throws, and where an
/// operation says so.
/// Handlers and slots must not delete the proxy, nor a request that they are called for; they may
/// call `deleteLater`.
///
/// \code
/// KVTServerMessageOldProxy proxy;
/// proxy.Initalize();
/// if (!proxy.startServer(QString()))
///     return 1;
/// QString version;
/// QDeadlineTimer deadline(5000); // a server that has just been started does not listen yet
/// while (!proxy.Register(QString(), &version, QString())) {
///     if (deadline.hasExpired())
///         return 1;
/// }
/// auto *request = new PackageRequestReadData;
/// request->setServerConnectionKey(QStringLiteral("COM1"));
/// request->setReadLength(16);
/// proxy.SendRequestReadData(request); // its completion handler is called from the event loop
/// \endcode
class KSPROXYOLDCLIENT_EXPORT KVTServerMessageOldProxy : public IKVTServerBaseProxy
{
    Q_OBJECT

public:
    /// Logs "KVTServerMessageOldProxy m_binit false" at debug level.
    KVTServerMessageOldProxy();
    /// Calls `Terminate`. The socket client and its connection stay behind.
    ~KVTServerMessageOldProxy() override;

    // The order of these operations is the interface's.

    /// Makes the socket client and starts the two workers that pace the loops. A second call only
    /// logs, at debug level, "KVTServerMessageOldProxy::Initalize has init!".
    void Initalize() override;

    /// Stops the workers, waiting at most 100 ms for each, empties the queues and the equipment
    /// table, and deletes every package that still waits for its reply; the completion handlers of
    /// those are not called. Leaves the registration and the connection as they are. May be called
    /// at any time and again, but not from what the deletion of a package calls; `Initalize` may
    /// follow.
    void Terminate() override;

    /// Has the server connect all controllers. False when not registered.
    bool ConnectController() override;
    /// Has the server connect the controller \a name. False when not registered or \a name is
    /// empty.
    bool ConnectController(const QString &name) override;

    /// Queues a request; its completion handler is called later. False, with nothing queued, when
    /// not registered or when it reads less than 1 byte. \a package stays the caller's, must not be
    /// null and must live until it is completed, on the thread that its handler runs on, the
    /// proxy's. May be called from any thread.
    bool SendRequestReadData(PackageRequestReadData *package) override;
    ///@{
    /// Not supported: logs "KVTServerMessageOldProxy::SendRequestReadFile not support", critical;
    /// false. The package is left alone. The same holds, each with its own name in the text, for
    /// `SendRequestReadMemData`, `SendRequestWriteFile`, `SendRequestWriteMemData` and
    /// `SendCombinationRequest`.
    bool SendRequestReadFile(PackageRequestReadFile *package) override;
    bool SendRequestReadMemData(PackageRequestReadMemData *package) override;
    ///@}
    /// As `SendRequestReadData`, but a request without data is queued too; false when not
    /// registered or when the package gives a negative data length.
    bool SendRequestWriteData(PackageRequestWriteData *package) override;
    ///@{
    /// Not supported, as `SendRequestReadFile`.
    bool SendRequestWriteFile(PackageRequestWriteFile *package) override;
    bool SendRequestWriteMemData(PackageRequestWriteMemData package) override;
    bool SendCombinationRequest(PackageRequestCombination package) override;
    ///@}

    /// Has the server drop what it has not yet answered. False when not registered.
    bool CancelServerAllSend() override;
    /// The same for one connection key, which may be empty. False when not registered.
    bool CancelServerSend(const QString &connectionKey) override;

    ///@{
    /// Not supported. False when not registered; otherwise logs
    /// "KVTServerMessageOldProxy::SendStartRequestSpecialPacke not support", critical, sets
    /// \a result to 1 and returns true. `SendEndRequestSpecialPacke` likewise.
    bool SendStartRequestSpecialPacke(SpecialPackageRequest *package, int *result) override;
    bool SendEndRequestSpecialPacke(SpecialPackageRequest *package, int *result) override;
    ///@}

    /// Connects to the server (blocks for at most 500 ms) and queues the registration.
    ///
    /// True means only that the connection stands: the server's answer usually comes after this
    /// returned. It then fills `ServerVer` and the equipment table, or clears `isRegisted`, with
    /// `NotifyRegisterErrEvent` when it reports an error. Processes events and sleeps for 50 ms or,
    /// when a refusal arrives meanwhile, in rounds of 50 ms for about 5 s. \a serverVersion, when
    /// not null, receives `ServerVer` as it stands then; the other arguments are not used. False
    /// before `Initalize`, when the server cannot be reached, or when it refused in time.
    bool Register(const QString &name, QString *serverVersion, const QString &version) override;
    /// Forgets the registration and the equipment table. Sends nothing; the connection stays. True,
    /// but false when registered without a socket client.
    bool UnRegister() override;

    /// Makes sure that a process named "KVTServerMaster" runs: starts the executable at \a path, or
    /// at `KsProxyTools::getDefaultServerPath` when \a path is empty, and waits until the process
    /// is seen, at most 60 s, processing events meanwhile. True when it runs, which does not mean
    /// that it listens already: repeat `Register` for a while. Once it or `Register` has succeeded
    /// it returns true without looking, until `UnRegister` of a registered proxy or a `Register`
    /// that fails. False when the executable cannot be run or the 60 s are over. Logs
    /// "KVTServerMessageOldProxy::startServer " at debug level and what the log lines of
    /// startup.cpp say.
    bool startServer(const QString &path) override;
    /// Does nothing: the server is left running. True.
    bool exitKVTServer() override;
    /// Not supported: logs "KVTServerMessageOldProxy::sendPacketData not support", critical.
    void sendPacketData(const QByteArray &data, int length) override;
    /// Does `SetAutoConnectSwitch(exclusive)`, logs "KVTServerMessageOldProxy::sendPacketData not
    /// support", critical, and returns true in every case.
    bool makeDeviceExclusive(const QString &port, const int &baudRate, bool &exclusive) override;
    /// Not supported: logs "KVTServerMessageOldProxy::changebaudRate not support", critical; true.
    bool changebaudRate(const QString &port, const unsigned long &baudRate) override;
    /// Not supported: false, with "KVTServerMessageOldProxy::isServerProcessRunning not support",
    /// critical, once there is a socket client.
    bool isServerProcessRunning() override;
    /// 4000, always.
    int getErrorCode() override;

    /// Turns the events that the library posts to the proxy into the interface's signals.
    bool event(QEvent *event) override;

    // Commands and accessors beyond the interface.

    /// Sends the order's bytes up to the first zero byte. False when not registered. \a request
    /// stays the caller's, must not be null, and is neither kept nor completed.
    bool SendRequestOrder(SpecialPackageRequest *request);
    /// Has the server connect, or not, by itself what appears later. False when not registered.
    bool SetAutoConnectSwitch(bool on);
    /// Queues a command, registered or not; true unless memory runs out. May be called from any
    /// thread.
    bool SendCommand(TarnEnum::MessageIDs id, QString info);

    /// Whether the last `Register` reached the server, or `startServer` saw its process;
    /// `UnRegister` of a registered proxy and a `Register` that fails reset it. A server that went
    /// away later does not.
    bool isConnectedServer();
    /// The server's version, empty until it has confirmed the registration.
    QString ServerVer() const;

    ///@{
    /// How requests are encoded. With anything but text, requests are sent as identifier 6 without
    /// a body and replies are not completed: leave it at text.
    TarnEnum::PackageType packageType() const;
    void setPackageType(const TarnEnum::PackageType &type);
    ///@}

    ///@{
    /// Do nothing.
    void initHandle();
    void CheckServerRestart();
    ///@}

    /// Makes the socket client if there is none.
    void creatMsgClient();
    /// Starts the executable at \a path once; logs the outcome.
    bool execStartKVTServer(const QString &path);

    // What the library does when something happens, open to applications that drive it by hand.
    // Operations that post an event may be called from any thread; the first argument is what the
    // signal carries as its sender.

    /// Posts `NotifyRegisterErrEvent`; its delivery deletes \a args.
    void OnNotifyRegisterErr(void *sender, NotifyRegisterErrorEventArgs *args);
    /// Raises `BeginConnectEquipment` at once; \a args stays the caller's.
    void OnBeginConnectEquipment(void *sender, ConnectEquipmentEventArgs *args);
    /// Posts `BeginConnectAllController`; its delivery deletes \a args.
    void OnBeginConnectAllController(void *sender, EventArgs *args);
    /// Raises `EquipmentChangeEvent` at once; \a args stays the caller's.
    void OnEquipmentChangeEvent(void *sender, EventArgs *args);
    /// Posts `CompleteConnectAllController`, which carries 15 whatever \a args holds; \a args stays
    /// the caller's.
    void OnCompleteConnectAllControllerr(void *sender, EventArgs *args);
    /// Posts `CompleteConnectEquipment`, for an empty but not null name only. The argument object
    /// made for it is not released.
    void OnCompleteConnectEquipment(void *sender, QString portName);

    /// Acts on one received message; false for an identifier that is not known.
    bool ReceivedMessage(int id, QString info, QByteArray byteInfo);
    /// The part of \a info before its first tag: up to the last "<" before the first ">". False,
    /// with \a out untouched, when there is no ">". \a out must not be null.
    bool GetInfo(QString info, QString *out);
    /// Replaces the equipment table by what \a table says; an empty text clears it. False for an
    /// empty text, and when the interface threw a text, which is then logged at debug level.
    bool ParseEquipmentTable(QString table);

    /// Encodes and queues \a package without looking at the registration; true unless memory runs
    /// out. May be called from any thread. The package stays the caller's.
    bool SendPackageMessage(PackageBase *package);
    /// Identifier and text under which \a package is sent; a null package leaves both alone.
    void ParseSendPackageInfo(PackageBase *package, TarnEnum::MessageIDs *id, QString *text);
    /// The same with the byte form.
    void ParseSendPackageQByteArrayInfo(PackageBase *package, TarnEnum::MessageIDs *id,
                                        QByteArray *bytes);
    /// Identifier and text under which the server answers \a package, which must not be null.
    void ParsePackageInfo(PackageBase *package, TarnEnum::NotifyTypes *type, QString *text);

    /// A new package of the class that goes with \a type, filled from \a text; null only when
    /// memory runs out. The caller owns it.
    PackageBase *ParseCompleteRequest(QString text, TarnEnum::NotifyTypes type);
    /// Not supported: logs "KVTServerMessageOldProxy::ParseCompleteRequest QByteArray not spport",
    /// critical; null.
    PackageBase *ParseCompleteRequest(QByteArray bytes, TarnEnum::NotifyTypes type);
    /// Data from the reply to a read-data request, header from the request to the reply. Neither
    /// may be null; throws std::bad_typeid for a null request.
    void FillReplyDataToPackage(PackageBase *reply, PackageBase *request);
    /// The pending request with that serial number that was sent first, or null. It stays pending
    /// and the application's. May be called from any thread.
    PackageBase *MatchRequest(unsigned int serialNumber);

    ///@{
    /// The two loops as blocking variants for a thread that does nothing else; each returns when
    /// `Terminate` is called, the first also when there is no socket client. Have them return
    /// before the proxy is destroyed or initialised again. The library does not use them.
    void sendThreadProc(bool deleteThread);
    void notifyThreadProc(bool deleteThread);
    ///@}

public Q_SLOTS:
    // In the order of their meta-object indices.

    /// Splits one received message body and acts on it.
    void OnReceiveMessage(QByteArray infos);
    /// Sends one message from the send queue.
    void SendThreadFun(bool deleteThread);
    /// Handles everything in the notify queue.
    void NotifyThreadFun(bool deleteThread);
    /// Logs "KVTServerMessageOldProxy::TimeOut not support", critical. Nothing is connected to it.
    void TimeOut();

private:
    friend class TestAccess;

    // Of a blocking loop, until memory is tried for again.
    static constexpr unsigned long PauseMs = 10;
    enum class Delivery { Written, Failed, Stopped };

    void initialise();
    std::unique_ptr<MsgSocketClient> newClient();
    void startWorker(MsgThread **worker, const char *loop);
    void stopWorkers();
    void stopWorker(MsgThread **worker, QMutex *mutex, QWaitCondition *condition);
    void deletePendingRequests();
    void deleteQueue(QList<NotifyStruct *> *queue, QMutex *mutex, std::atomic<int> *count);

    bool sendWhenRegistered(TarnEnum::MessageIDs id, const QString &info);
    bool refuseSpecialPackage(const char *text, int *result);
    void enqueueOutgoing(std::unique_ptr<NotifyStruct> entry);

    NotifyStruct *takeOutgoing();
    NotifyStruct *waitForOutgoing();
    NotifyStruct *takeFirstOutgoing();
    bool transmit(NotifyStruct *entry);
    Delivery deliver(const QByteArray &body);
    Delivery deliverThroughOwnThread(const QByteArray &body);
    void returnOutgoing(NotifyStruct *entry);
    void completeUnwritten(PackageBase *package);
    void completeAsFailed(PackageBase *package);

    NotifyStruct *takeNotification();
    NotifyStruct *waitForNotification();
    NotifyStruct *takeFirstNotification();
    bool handleNotification(NotifyStruct *item);
    void returnNotification(NotifyStruct *item);
    bool completeRequest(const NotifyStruct &item);
    QPointer<PackageBase> takeAnsweredRequest(quint64 serialNum);
    bool raiseBroadcast(const NotifyStruct &item);

    bool dispatch(int id, const QString &info, const QByteArray &byteInfo);
    bool readEquipmentTable(const QString &table);
    void loadRegistration(const QString &info);
    void dropRegistration();
    void enqueueReply(int id, const QString &info, const QByteArray &byteInfo);
    void enqueueNotification(std::unique_ptr<NotifyStruct> item);
    bool postToSelf(QEvent::Type type, void *sender, void *args);

    bool m_bConnected = false;
    std::atomic<bool> m_bNotifyStop{false};
    std::atomic<bool> m_bSendStop{false};
    qint32 m_nIdleCount = 0; // zeroed here and there, read by nobody; kept for the layout
    QWaitCondition m_notifyCondition;
    MsgThread *m_pNotifyThread = nullptr;
    QWaitCondition m_sendCondition;
    MsgThread *m_pSendThread = nullptr;
    MsgSocketClient *m_pMsgClient = nullptr; // never released: a later Initalize goes on with it
    QMutex m_requestMutex;
    QList<PackageBase *> m_requestList;
    QMutex m_notifyMutex;
    QList<NotifyStruct *> m_notifyList;
    QMutex m_sendMutex;
    QList<NotifyStruct *> m_sendList;
    QString m_strServerVer = QLatin1String("");
    TarnEnum::PackageType m_packageType = TarnEnum::TextPackage;
    bool m_bReserved = true;
    std::atomic<bool> m_binit{false};
    // How many entries the queues hold, for a look without the lock: the lists themselves may be
    // moved by an append while they are looked at.
    std::atomic<int> m_sendCount{0};
    std::atomic<int> m_notifyCount{0};
    const QPointer<KVTServerMessageOldProxy> m_self{this}; // with it, further ones need no memory
};

#endif
