#ifndef DEVICETRANSFER_H
#define DEVICETRANSFER_H

#include "EquipmentAddress.h"
#include "SessionError.h"
#include "ksproxysession_export.h"

#include <QByteArray>
#include <QObject>

#include <memory>

class DeviceSession;
class DeviceTransferPrivate;

/// Reads or writes more than one request can carry, in chunks, a few of them on their way at a
/// time.
///
/// Make one for each transfer, set what is to differ, start it with `read` or `write`, and wait
/// for `finished`, which comes exactly once and always from the event loop. It lives on the
/// session's thread, where alone it may be called, and may outlive the session, whose destruction
/// ends it with `SessionError::Code::SessionClosed`. It may be deleted at any moment; what the
/// server has by then, it has.
///
/// About 100 messages a second leave, so the chunk size decides the speed: see the page on the
/// session layer.
class KSPROXYSESSION_EXPORT DeviceTransfer : public QObject
{
    Q_OBJECT

public:
    /// Of `setChunkBytes`.
    static constexpr int DefaultChunkBytes = 256 * 1024;
    ///@{
    /// Of `setWindow`.
    static constexpr int DefaultWindow = 8;
    static constexpr int MaxWindow = 1000;
    ///@}
    /// The longest transfer, in bytes: it is held in memory as a whole.
    static constexpr int MaxBytes = 256 * 1024 * 1024;

    /// \a session must not be null and stays the caller's.
    explicit DeviceTransfer(DeviceSession *session, QObject *parent = nullptr);
    ~DeviceTransfer() override;

    // To be set before the start, which checks them; later calls are refused with a log line.

    /// Bytes per request, 1 to `DeviceSession::MaxRequestBytes`.
    void setChunkBytes(int bytes);
    /// How many requests are on their way at a time, 1 to `MaxWindow`.
    void setWindow(int requests);
    /// Milliseconds for each request; `DeviceSession::DefaultTimeout` for the session's.
    void setRequestTimeout(int milliseconds);
    /// Whether a write is read back and compared afterwards. Off at first.
    void setVerifying(bool on);

    ///@{
    /// Starts. Takes 1 to `MaxBytes`; another length is refused, as is a range that leaves the
    /// 32-bit addresses; the refusal too comes through `finished`. A second start is refused with a
    /// log line.
    void read(const EquipmentAddress &address, int length);
    void write(const EquipmentAddress &address, const QByteArray &data);
    ///@}

    /// Ends it with `SessionError::Code::Aborted`. No effect before the start and after the end.
    void abort();

    /// Whether `finished` has been, or is being, emitted.
    bool isFinished() const;

    ///@{
    /// How it ended, as of `DeviceReply`.
    SessionError::Code error() const;
    QString errorString() const;
    SessionError sessionError() const;
    ///@}

    /// What was read, from the start without a gap: everything or, when the transfer ended early,
    /// as far as it came.
    QByteArray data() const;
    /// How many bytes, from the start without a gap, were read or written: a transfer that ended
    /// early can be taken up there.
    int transferredBytes() const;
    /// How many bytes, from the start without a gap, were read back and found equal.
    int verifiedBytes() const;

Q_SIGNALS:
    /// Bytes done so far and in all; verification counts them a second time.
    void progress(qint64 done, qint64 total);
    /// There is an outcome. Exactly once, from the event loop.
    void finished();

private:
    friend class DeviceTransferPrivate;
    Q_DISABLE_COPY_MOVE(DeviceTransfer)

    const std::unique_ptr<DeviceTransferPrivate> d;
};

#endif
