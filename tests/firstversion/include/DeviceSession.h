#ifndef DEVICESESSION_H
#define DEVICESESSION_H

#include "DeviceBroadcast.h"
#include "DeviceReply.h"
#include "EquipmentAddress.h"
#include "EquipmentInfo.h"
#include "SessionError.h"
#include "SessionOptions.h"
#include "ksproxysession_export.h"

#include <QMap>
#include <QObject>
#include <QStringList>

#include <memory>

class SessionCore;

/// An application's way to the device server: starts it when none runs, connects, registers, keeps
/// the equipment table, carries requests, notices when the server goes, and comes back.
///
/// Make one, connect its signals, `open` it, and wait for the state `Ready`. It lives on the
/// thread it was made on, the application's, whose event loop must run; a call from another thread
/// is refused with a log line and an error. All signals come from the event loop, in the order of
/// what happened, never from inside a call; a slot may do anything, also delete the session.
/// Errors are values; nothing is thrown. `read` and `write` return null when memory runs out. What
/// happens is logged under the category "ksproxy.session": refused calls, and a server that cannot
/// be started while the session comes back, as warnings; everything else at debug level, which is
/// off until a logging rule such as "ksproxy.session.debug=true" switches it on.
///
/// \code
/// DeviceSession session;
/// QObject::connect(&session, &DeviceSession::stateChanged, [&](DeviceSession::State state) {
///     if (state == DeviceSession::State::Ready)
///         session.connectAllControllers();
/// });
/// session.open();
/// \endcode
class KSPROXYSESSION_EXPORT DeviceSession : public QObject
{
    Q_OBJECT

public:
    /// See the page on the session layer for what leads from one to another.
    enum class State {
        Closed, ///< not opened, closed, or failed: see `lastError`
        StartingServer, ///< no server took connections: its program is being started
        Connecting, ///< waiting until the server takes connections
        Registering, ///< connected; the server has not confirmed yet
        Ready, ///< the server has confirmed: requests and commands are taken
        Lost, ///< the server has gone; comes back by itself where the policy says so
    };
    Q_ENUM(State)

    /// For the time-out of a request: the one from the options.
    static constexpr int DefaultTimeout = -1;
    /// The longest read or write of one request, in bytes. `DeviceTransfer` takes more.
    static constexpr int MaxRequestBytes = 8 * 1024 * 1024;

    /// A session that is `Closed`. Throws `std::bad_alloc` when memory runs out.
    explicit DeviceSession(QObject *parent = nullptr);
    /// Closes; what is still outstanding ends without `finished`. Blocks as `close` does.
    ~DeviceSession() override;

    /// Begins to open and returns at once; `stateChanged` tells how it goes. False, with
    /// `lastError` set, when the session is not `Closed` or the options make no sense.
    ///
    /// While it opens, each attempt holds the thread for 50 ms, at most 550 when the server is
    /// overloaded, and processes events meanwhile.
    bool open(const SessionOptions &options = SessionOptions());

    /// Ends everything outstanding with `SessionError::Code::SessionClosed`, forgets the table and
    /// goes to `Closed`. Blocks until the workers have stopped, usually 10 to 20 ms, at most 200.
    /// The connection itself stays and is used again by the next session of this application.
    void close();

    /// May be further on than the last `stateChanged` that was delivered.
    State state() const;
    /// Why the session is `Closed` or `Lost`, or why the last call was refused: the later of the
    /// two. Stays until the next one, `open`, `close` or the confirmation. A slot is better served
    /// by `errorOccurred`, which a refused call does not emit.
    SessionError lastError() const;
    /// Empty until the server has confirmed; some servers have none.
    QString serverVersion() const;
    /// What the server can reach, by connection key, as it last said; also while `Lost`.
    QMap<QString, EquipmentInfo> equipmentTable() const;

    /// Reads \a length bytes, 1 to `MaxRequestBytes`. Null only when memory runs out, not when the
    /// call is refused; see `DeviceReply` for who owns it. \a timeoutMs counts from the call, and
    /// the server is told it too.
    DeviceReply *read(const EquipmentAddress &address, int length, int timeoutMs = DefaultTimeout);
    /// Writes \a data, at most `MaxRequestBytes`. Writing nothing asks whether the equipment is
    /// there.
    DeviceReply *write(const EquipmentAddress &address, const QByteArray &data,
                       int timeoutMs = DefaultTimeout);

    // Commands. False, with `lastError` set, when the session is not `Ready`; true only says that
    // the command is on its way, in its turn after the requests before it.

    /// Has the server connect one controller; `connectionBeginning` follows unless the
    /// server knows no such controller, and `tableChanged`
    /// if that changes the table.
    bool connectController(const QString &name);
    /// Has the server connect all; `allControllersConnected` follows.
    bool connectAllControllers();
    ///@{
    /// Has the server drop the requests for that key, or all, which it has not answered: they end
    /// with `SessionError::Code::DeviceCancelled`.
    bool cancelRequests(const QString &key);
    bool cancelAllRequests();
    ///@}
    /// Sends an order of the server's own language, up to its first zero byte.
    bool sendOrder(const QByteArray &order);
    /// Whether the server connects by itself what appears later.
    bool setAutoConnect(bool on);

Q_SIGNALS:
    /// Once for each change. `state()` may have gone on since.
    void stateChanged(DeviceSession::State state);
    /// Why the session is `Closed` or `Lost`; comes before the change itself.
    void errorOccurred(const SessionError &error);
    /// The table is another; not emitted when nothing in it changed. Also after a reconnection,
    /// compared with the table before.
    void tableChanged(const QStringList &added, const QStringList &removed,
                      const QStringList &changed);
    /// The server begins to connect the equipment at that port.
    void connectionBeginning(const QString &port);
    /// The server begins to connect all controllers.
    void allControllersConnecting();
    /// The server has connected all that it could.
    void allControllersConnected();
    /// The server tells everyone, such as of another application's write.
    void broadcastReceived(const DeviceBroadcast &broadcast);

private:
    friend class SessionCore;
    Q_DISABLE_COPY_MOVE(DeviceSession)

    const std::unique_ptr<SessionCore> m_core;
};

#endif
