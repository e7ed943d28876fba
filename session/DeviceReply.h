#ifndef DEVICEREPLY_H
#define DEVICEREPLY_H

#include "EquipmentAddress.h"
#include "SessionError.h"
#include "ksproxysession_export.h"

#include <QByteArray>
#include <QObject>

#include <memory>

class DeviceReplyPrivate;

/// The outcome of one request, in the making: `DeviceSession::read` and `write` return one.
///
/// Connect to `finished`, which comes exactly once and always from the event loop, also when the
/// request failed at once; then ask `error` and `data`. A reply belongs to its session, which
/// deletes it, without `finished`, when it is itself destroyed, unless another thread's call got
/// it; delete it earlier with `deleteLater`, or `delete`, at any moment, also inside its own
/// `finished`: the request is then given up. It lives on the session's thread; another thread's
/// call is refused with a log line and answered as if there were nothing.
///
/// \code
/// DeviceReply *reply = session.read({QStringLiteral("COM1"), 0x40}, 16);
/// QObject::connect(reply, &DeviceReply::finished, reply, [reply] {
///     if (reply->error() == SessionError::Code::None)
///         qInfo() << reply->data().toHex();
///     else
///         qWarning() << reply->errorString();
///     reply->deleteLater();
/// });
/// \endcode
class KSPROXYSESSION_EXPORT DeviceReply : public QObject
{
    Q_OBJECT

public:
    ~DeviceReply() override;

    /// Whether `finished` has been, or is being, emitted. Until then the getters below may change.
    bool isFinished() const;

    /// How it ended; `SessionError::Code::None` when it ended well or has not ended.
    SessionError::Code error() const;
    /// A sentence that a person can act on; empty when there is no error.
    QString errorString() const;
    /// The same with the device's result, where there is one.
    SessionError sessionError() const;

    /// What was read; empty for a write and after an error. It may be shorter than asked for when
    /// the server says so.
    QByteArray data() const;

    /// The request's; 0 until it has left.
    quint64 serialNumber() const;
    /// Where the request points to.
    EquipmentAddress address() const;
    /// Milliseconds from the call to the outcome or, until there is one, to now.
    qint64 elapsed() const;

    /// Ends the request with `SessionError::Code::Aborted`. It never leaves when it has not left
    /// yet; otherwise the server may still carry it out. No effect once there is an outcome.
    /// Another thread's call is refused with a log line.
    void abort();

Q_SIGNALS:
    /// There is an outcome. Exactly once, from the event loop.
    void finished();

private:
    friend class DeviceReplyPrivate;

    explicit DeviceReply(QObject *parent);
    Q_DISABLE_COPY_MOVE(DeviceReply)

    const std::unique_ptr<DeviceReplyPrivate> d;
};

#endif
