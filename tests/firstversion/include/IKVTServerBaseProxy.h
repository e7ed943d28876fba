#ifndef IKVTSERVERBASEPROXY_H
#define IKVTSERVERBASEPROXY_H

#include "EquipmentInfo.h"
#include "EventArgs.h"
#include "ksproxyinterface_export.h"

#include <QMap>
#include <QMutex>
#include <QObject>

#include <atomic>

class PackageRequestCombination;
class PackageRequestReadData;
class PackageRequestReadFile;
class PackageRequestReadMemData;
class PackageRequestWriteData;
class PackageRequestWriteFile;
class PackageRequestWriteMemData;
class SpecialPackageRequest;

/// The interface through which an application reaches the device server.
///
/// Make an implementation, call `Initalize`, optionally `startServer`, then `Register`; afterwards
/// send commands and requests; at the end `UnRegister`, `Terminate` and destruction. A proxy lives
/// on one thread, the application's, whose event loop must run: all signals are raised there. The
/// operations say per bool whether they did their work and never throw; what each implementation
/// supports, logs and returns stands with the implementation.
///
/// The order of the virtual operations is part of the binary interface. Nothing may be inserted.
class KSPROXYINTERFACE_EXPORT IKVTServerBaseProxy : public QObject
{
    Q_OBJECT

public:
    /// Not registered, with an empty equipment table.
    explicit IKVTServerBaseProxy(QObject *parent = nullptr);
    ~IKVTServerBaseProxy() override;

    /// Makes ready what the other operations need. Once, before them.
    virtual void Initalize() = 0;
    /// Ends everything under way; `Initalize` may follow.
    virtual void Terminate() = 0;

    /// Has the server connect all controllers. False when not registered.
    virtual bool ConnectController() = 0;
    /// Has the server connect the controller \a name.
    virtual bool ConnectController(const QString &name) = 0;

    ///@{
    /// Queues a request, whose completion handler is called later. False when nothing was queued.
    /// A package handed over by pointer stays the caller's and must live until it is completed.
    virtual bool SendRequestReadData(PackageRequestReadData *package) = 0;
    virtual bool SendRequestReadFile(PackageRequestReadFile *package) = 0;
    virtual bool SendRequestReadMemData(PackageRequestReadMemData *package) = 0;
    virtual bool SendRequestWriteData(PackageRequestWriteData *package) = 0;
    virtual bool SendRequestWriteFile(PackageRequestWriteFile *package) = 0;
    virtual bool SendRequestWriteMemData(PackageRequestWriteMemData package) = 0;
    virtual bool SendCombinationRequest(PackageRequestCombination package) = 0;
    ///@}

    /// Has the server drop what it has not yet answered. False when not registered.
    virtual bool CancelServerAllSend() = 0;
    /// The same for one connection key.
    virtual bool CancelServerSend(const QString &connectionKey) = 0;

    ///@{
    /// Begins and ends a sequence of special packages; \a result says how that went.
    virtual bool SendStartRequestSpecialPacke(SpecialPackageRequest *package, int *result) = 0;
    virtual bool SendEndRequestSpecialPacke(SpecialPackageRequest *package, int *result) = 0;
    ///@}

    /// Connects and registers as a client; \a serverVersion, when not null, receives the server's
    /// version as far as it is known. False when that cannot be.
    virtual bool Register(const QString &name, QString *serverVersion, const QString &version) = 0;
    /// Forgets the registration and the equipment table.
    virtual bool UnRegister() = 0;

    /// Makes sure that the server's process runs, from \a path when it must be started. May block.
    virtual bool startServer(const QString &path) = 0;
    /// Ends the server's process, where the implementation does so.
    virtual bool exitKVTServer() = 0;

    /// Sends bytes as they are.
    virtual void sendPacketData(const QByteArray &data, int length) = 0;
    /// Keeps a device for this application alone, or gives it back.
    virtual bool makeDeviceExclusive(const QString &port, const int &baudRate, bool &exclusive) = 0;
    /// Changes the speed of a port.
    virtual bool changebaudRate(const QString &port, const unsigned long &baudRate) = 0;
    /// Whether the server's process runs.
    virtual bool isServerProcessRunning() = 0;
    /// The number of the last error.
    virtual int getErrorCode() = 0;

    ///@{
    /// The gate of every command and request. May be read and set from any thread.
    bool isRegisted() const;
    void setRegisted(bool registered);
    ///@}

    ///@{
    /// The equipment that the server can reach, by connection key: a copy of the table as the
    /// server last sent it. May be read and replaced from any thread.
    QMap<QString, EquipmentInfo> equipmentTable() const;
    void setEquipmentTable(const QMap<QString, EquipmentInfo> &table);
    ///@}
    /// As an empty table.
    void clearEquipmentTable();

Q_SIGNALS:
    /// The equipment table has been replaced.
    void EquipmentChangeEvent(void *sender, EventArgs args);
    /// The server begins to connect the equipment at the port named in \a args.
    void BeginConnectEquipment(void *sender, ConnectEquipmentEventArgs args);
    /// The server reported an error of the registration, which is gone.
    void NotifyRegisterErrEvent(void *sender, NotifyRegisterErrorEventArgs args);
    /// The equipment at the port named in \a args is connected.
    void CompleteConnectEquipment(void *sender, ConnectEquipmentEventArgs args);
    /// The server begins to connect all controllers.
    void BeginConnectAllController(void *sender, EventArgs args);
    /// All controllers are connected and the equipment table has been replaced.
    void CompleteConnectAllController(void *sender, EventArgs args);
    /// A reply that nobody here asked for arrived, such as another client's write. Its package
    /// lives until control returns to the event loop: connect directly.
    void CallBackBroadcastRecvedReplyEvent(void *sender, CompletePackageRequestEventArgs args);

private:
    // Producers of requests read both on their own threads.
    std::atomic<bool> m_registered{false};
    mutable QMutex m_equipmentTableMutex;
    QMap<QString, EquipmentInfo> m_equipmentTable;
};

#endif
