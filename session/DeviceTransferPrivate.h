#ifndef DEVICETRANSFERPRIVATE_H
#define DEVICETRANSFERPRIVATE_H

#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "Guarded.h"

#include <QHash>
#include <QObject>
#include <QPointer>

#include <vector>

/// How a transfer is cut into requests and put together again.
class DeviceTransferPrivate : public QObject
{
    Q_OBJECT

public:
    enum class Phase { Idle, Reading, Writing, Verifying, Ended };

    DeviceTransferPrivate(DeviceTransfer *transfer, DeviceSession *session);
    ~DeviceTransferPrivate() override;

    /// Starts with \a phase; \a data is what is written, or room for what is read.
    void start(Phase phase, const EquipmentAddress &address, const QByteArray &data);
    /// The same for reading; a length that is refused gets no room.
    void startReading(const EquipmentAddress &address, int length);
    void end(const SessionError &error);

    /// Does something of the transfer, and ends it when memory runs out.
    template <typename Work>
    void guardedWork(const Work &work)
    {
        if (!guarded(work))
            end(SessionError::outOfMemory());
    }

    /// False, with a log line, once it has been started.
    bool isIdle(const char *operation) const;

    int chunkBytes = DeviceTransfer::DefaultChunkBytes;
    int window = DeviceTransfer::DefaultWindow;
    int timeoutMs = DeviceSession::DefaultTimeout;
    bool isVerifying = false;

    Phase phase = Phase::Idle;
    bool isFinished = false;
    SessionError error;
    QByteArray data;
    int transferredBytes = 0;
    int verifiedBytes = 0;

private:
    SessionError problemAtStart() const;
    void fillWindow();
    void sendChunk(int chunk);
    void receiveChunk(int chunk, DeviceReply *reply);
    SessionError store(int chunk, const DeviceReply &reply);
    SessionError problemOf(const DeviceReply &reply) const;
    SessionError compare(int chunk, const QByteArray &readBack) const;
    void countChunk(int chunk);
    void nextPhase();
    void finish();

    qint64 doneBytes() const;
    int chunkCount() const;
    int offsetOf(int chunk) const;
    int sizeOf(int chunk) const;
    EquipmentAddress addressOf(int chunk) const;

    DeviceTransfer *const m_transfer;
    const QPointer<DeviceSession> m_session;
    EquipmentAddress m_address;
    QHash<int, DeviceReply *> m_underWay; // by chunk
    std::vector<bool> m_isDone; // chunks of this phase
    int m_nextChunk = 0;
    int m_doneInPhase = 0; // bytes
    int m_withoutGap = 0; // chunks from the start
};

#endif
