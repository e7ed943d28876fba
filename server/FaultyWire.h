#ifndef FAULTYWIRE_H
#define FAULTYWIRE_H

#include "FaultyFrame.h"
#include "HeldMessages.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <deque>

class FaultPlan;

/// The way of one client's messages while faults are set: which of them are written, in what
/// pieces and when. Everything leaves in order, so what waits keeps back what comes after it.
class FaultyWire : public QObject
{
    Q_OBJECT

public:
    /// \a plan stays the caller's.
    explicit FaultyWire(FaultPlan *plan);

    /// Whether nothing is in the way of a message without faults: it may be written directly.
    bool isClear() const;

    void send(const OutgoingMessage &message);
    /// Bytes that suffer no fault.
    void sendBytes(const QByteArray &bytes);

    /// Writes nothing for that long, until `release` when \a ms is 0.
    void stall(int ms);
    void release();
    bool isStalled() const;

    /// What waits to be written.
    qint64 waitingBytes() const;

Q_SIGNALS:
    void due(const QByteArray &bytes);
    /// The connection is to end, after what was due.
    void closing();
    void released();

private:
    struct Waiting
    {
        WirePiece piece;
        QDeadlineTimer deadline;
    };

    void sendReversed(HeldMessages::Messages messages);
    void sendTogether(const HeldMessages::Messages &messages);
    void append(const QVector<WirePiece> &pieces);
    void advance();
    void dropWaiting();
    bool isFrontDue();

    FaultPlan *m_plan;
    std::deque<Waiting> m_waiting;
    qint64 m_waitingBytes = 0;
    HeldMessages m_reordered;
    HeldMessages m_coalesced;
    bool m_isStalled = false;
    bool m_isClosing = false;
    QTimer m_pause;
    QTimer m_stallLimit;
};

#endif
