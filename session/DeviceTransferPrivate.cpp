#include "DeviceTransferPrivate.h"

#include "DeviceReply.h"
#include "Later.h"
#include "SessionLog.h"

#include <algorithm>
#include <memory>
#include <new>

DeviceTransferPrivate::DeviceTransferPrivate(DeviceTransfer *transfer, DeviceSession *session)
    : m_transfer(transfer)
    , m_session(session)
{
    connect(session, &QObject::destroyed, this, [this] {
        guardedWork([this] {
            end({SessionError::Code::SessionClosed, tr("The session was destroyed.")});
        });
    });
}

DeviceTransferPrivate::~DeviceTransferPrivate()
{
    qDeleteAll(m_underWay);
}

bool DeviceTransferPrivate::isIdle(const char *operation) const
{
    if (phase == Phase::Idle && !isFinished)
        return true;
    SessionLog::warning(operation, "refused: the transfer has been started");
    return false;
}

void DeviceTransferPrivate::start(Phase firstPhase, const EquipmentAddress &address,
                                  const QByteArray &content)
{
    phase = firstPhase;
    m_address = address;
    data = content;
    if (const SessionError problem = problemAtStart()) {
        end(problem);
        return;
    }
    m_isDone.assign(static_cast<size_t>(chunkCount()), false);
    fillWindow();
}

void DeviceTransferPrivate::startReading(const EquipmentAddress &address, int length)
{
    phase = Phase::Reading; // already, so that it ends when there is no memory for so much
    const bool isAllowed = length > 0 && length <= DeviceTransfer::MaxBytes;
    start(Phase::Reading, address, QByteArray(isAllowed ? length : 0, '\0'));
}

SessionError DeviceTransferPrivate::problemAtStart() const
{
    const auto invalid = SessionError::Code::InvalidArgument;
    if (!m_session)
        return {SessionError::Code::SessionClosed, tr("The session was destroyed.")};
    if (data.isEmpty() || data.size() > DeviceTransfer::MaxBytes)
        return {invalid, tr("A transfer takes 1 to %1 bytes.").arg(DeviceTransfer::MaxBytes)};
    if (!m_address.isFollowedBy(data.size()))
        return {invalid, tr("The range leaves the 32-bit addresses.")};
    if (chunkBytes < 1 || chunkBytes > DeviceSession::MaxRequestBytes)
        return {invalid,
                tr("A chunk takes 1 to %1 bytes, not %2.")
                    .arg(DeviceSession::MaxRequestBytes)
                    .arg(chunkBytes)};
    if (window < 1 || window > DeviceTransfer::MaxWindow)
        return {invalid,
                tr("1 to %1 requests may be on their way, not %2.")
                    .arg(DeviceTransfer::MaxWindow)
                    .arg(window)};
    return SessionError();
}

void DeviceTransferPrivate::end(const SessionError &reason)
{
    if (phase == Phase::Idle || phase == Phase::Ended)
        return;
    if (phase == Phase::Reading)
        guarded([this] { data.truncate(transferredBytes); });
    phase = Phase::Ended;
    error = reason;
    qDeleteAll(std::exchange(m_underWay, {}));
    // Bound to the transfer: nothing comes when it is deleted first.
    isFinished = !Later::call(m_transfer, [this] { finish(); });
}

void DeviceTransferPrivate::finish()
{
    isFinished = true;
    Q_EMIT m_transfer->finished();
}

void DeviceTransferPrivate::fillWindow()
{
    while (m_underWay.size() < window && m_nextChunk < chunkCount())
        sendChunk(m_nextChunk++);
}

void DeviceTransferPrivate::sendChunk(int chunk)
{
    DeviceReply *const reply = phase == Phase::Writing
        ? m_session->write(addressOf(chunk), data.mid(offsetOf(chunk), sizeOf(chunk)), timeoutMs)
        : m_session->read(addressOf(chunk), sizeOf(chunk), timeoutMs);
    if (reply == nullptr)
        throw std::bad_alloc();
    std::unique_ptr<DeviceReply> owner(reply);
    connect(reply, &DeviceReply::finished, this,
            [this, chunk, reply] { guardedWork([&] { receiveChunk(chunk, reply); }); });
    m_underWay.insert(chunk, reply);
    static_cast<void>(owner.release());
}

void DeviceTransferPrivate::receiveChunk(int chunk, DeviceReply *reply)
{
    m_underWay.remove(chunk);
    guardedTwice([reply] { reply->deleteLater(); }); // or it goes with the session
    const SessionError problem = store(chunk, *reply);
    if (problem) {
        end(problem);
        return;
    }
    countChunk(chunk);
    const qint64 done = doneBytes();
    const qint64 total = qint64(data.size()) * (phase == Phase::Reading || !isVerifying ? 1 : 2);
    if (m_doneInPhase == data.size())
        nextPhase();
    else
        fillWindow();
    Q_EMIT m_transfer->progress(done, total); // last: a slot may delete the transfer
}

SessionError DeviceTransferPrivate::store(int chunk, const DeviceReply &reply)
{
    if (reply.error() != SessionError::Code::None || phase == Phase::Writing)
        return problemOf(reply);
    const QByteArray read = reply.data();
    if (read.size() != sizeOf(chunk))
        return {SessionError::Code::BadReply,
                tr("\"%1\" answers %2 bytes to a request for %3.")
                    .arg(m_address.key)
                    .arg(read.size())
                    .arg(sizeOf(chunk))};
    if (phase == Phase::Verifying)
        return compare(chunk, read);
    std::copy(read.cbegin(), read.cend(), data.begin() + offsetOf(chunk));
    return SessionError();
}

// Where the session has gone between two chunks, that is the reason, not that it is not ready now.
SessionError DeviceTransferPrivate::problemOf(const DeviceReply &reply) const
{
    if (reply.error() != SessionError::Code::NotReady || doneBytes() == 0)
        return reply.sessionError();
    if (m_session->state() == DeviceSession::State::Closed)
        return {SessionError::Code::SessionClosed, tr("The session was closed.")};
    return {SessionError::Code::ConnectionLost, tr("The session has lost the server.")};
}

SessionError DeviceTransferPrivate::compare(int chunk, const QByteArray &readBack) const
{
    const auto written = data.cbegin() + offsetOf(chunk);
    const auto different = std::mismatch(readBack.cbegin(), readBack.cend(), written).first;
    if (different == readBack.cend())
        return SessionError();
    const auto address = addressOf(chunk).address
        + static_cast<quint32>(std::distance(readBack.cbegin(), different));
    return {SessionError::Code::VerificationFailed,
            tr("\"%1\" does not hold what was written, first at address 0x%2.")
                .arg(m_address.key)
                .arg(address, 0, 16)};
}

void DeviceTransferPrivate::countChunk(int chunk)
{
    m_isDone[static_cast<size_t>(chunk)] = true;
    m_doneInPhase += sizeOf(chunk);
    while (m_withoutGap < chunkCount() && m_isDone[static_cast<size_t>(m_withoutGap)])
        ++m_withoutGap;
    const int bytes = m_withoutGap == chunkCount() ? data.size() : offsetOf(m_withoutGap);
    (phase == Phase::Verifying ? verifiedBytes : transferredBytes) = bytes;
}

void DeviceTransferPrivate::nextPhase()
{
    if (phase != Phase::Writing || !isVerifying) {
        end(SessionError());
        return;
    }
    phase = Phase::Verifying;
    m_isDone.assign(m_isDone.size(), false);
    m_nextChunk = 0;
    m_doneInPhase = 0;
    m_withoutGap = 0;
    fillWindow();
}

qint64 DeviceTransferPrivate::doneBytes() const
{
    return qint64(m_doneInPhase) + (phase == Phase::Verifying ? data.size() : 0);
}

int DeviceTransferPrivate::chunkCount() const
{
    return static_cast<int>((qint64(data.size()) + chunkBytes - 1) / chunkBytes);
}

int DeviceTransferPrivate::offsetOf(int chunk) const
{
    return chunk * chunkBytes;
}

int DeviceTransferPrivate::sizeOf(int chunk) const
{
    return qMin(chunkBytes, data.size() - offsetOf(chunk));
}

EquipmentAddress DeviceTransferPrivate::addressOf(int chunk) const
{
    EquipmentAddress address = m_address;
    address.address += static_cast<quint32>(offsetOf(chunk));
    return address;
}
