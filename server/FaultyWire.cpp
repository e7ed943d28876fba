#include "FaultyWire.h"

#include "FaultPlan.h"
#include "ServerLog.h"

#include <algorithm>

#include <unistd.h>

namespace {

using Kind = Fault::Kind;

} // namespace

FaultyWire::FaultyWire(FaultPlan *plan)
    : m_plan(plan)
{
    for (QTimer *const timer : {&m_pause, &m_stallLimit}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_pause, &QTimer::timeout, this, &FaultyWire::advance);
    connect(&m_reordered, &HeldMessages::complete, this, &FaultyWire::sendReversed);
    connect(&m_coalesced, &HeldMessages::complete, this, &FaultyWire::sendTogether);
    connect(&m_stallLimit, &QTimer::timeout, this, &FaultyWire::release);
}

bool FaultyWire::isClear() const
{
    return m_plan->isEmpty() && m_waiting.empty() && !m_isStalled && !m_isClosing;
}

void FaultyWire::send(const OutgoingMessage &message)
{
    const QVector<Fault> faults = m_plan->take(message);
    const QVector<WirePiece> pieces = FaultyFrame::pieces(message, faults);
    for (const Fault &fault : faults) {
        ServerLog::detail(QStringLiteral("a fault befalls message %1").arg(message.id));
        switch (fault.kind()) {
        case Kind::Exit:
            _exit(static_cast<int>(fault.parameter("code")));
        case Kind::Stall:
            stall(static_cast<int>(fault.parameter("ms")));
            break;
        case Kind::Reorder:
            m_reordered.add(pieces, fault);
            return;
        case Kind::Coalesce:
            m_coalesced.add(pieces, fault);
            return;
        default:
            break;
        }
    }
    append(pieces);
}

void FaultyWire::sendBytes(const QByteArray &bytes)
{
    append({{bytes}});
}

void FaultyWire::stall(int ms)
{
    m_isStalled = true;
    m_stallLimit.stop();
    if (ms > 0)
        m_stallLimit.start(ms);
}

void FaultyWire::release()
{
    m_stallLimit.stop();
    if (!m_isStalled)
        return;
    m_isStalled = false;
    advance();
    Q_EMIT released();
}

bool FaultyWire::isStalled() const
{
    return m_isStalled;
}

qint64 FaultyWire::waitingBytes() const
{
    return m_waitingBytes;
}

void FaultyWire::sendReversed(HeldMessages::Messages messages)
{
    std::reverse(messages.begin(), messages.end());
    for (const QVector<WirePiece> &message : qAsConst(messages))
        append(message);
}

void FaultyWire::sendTogether(const HeldMessages::Messages &messages)
{
    QByteArray together;
    for (const QVector<WirePiece> &message : messages) {
        for (const WirePiece &piece : message)
            together += piece.bytes;
    }
    sendBytes(together);
}

void FaultyWire::append(const QVector<WirePiece> &pieces)
{
    if (m_isClosing)
        return;
    for (const WirePiece &piece : pieces) {
        m_waiting.push_back({piece, QDeadlineTimer(piece.delayMs, Qt::PreciseTimer)});
        m_waitingBytes += piece.bytes.size();
    }
    advance();
}

void FaultyWire::advance()
{
    while (!m_isStalled && !m_waiting.empty() && isFrontDue()) {
        const WirePiece piece = m_waiting.front().piece;
        m_waiting.pop_front();
        m_waitingBytes -= piece.bytes.size();
        m_isClosing = piece.closes;
        if (m_isClosing)
            dropWaiting(); // before anything else can be written
        Q_EMIT due(piece.bytes);
        if (piece.closes)
            Q_EMIT closing();
    }
}

void FaultyWire::dropWaiting()
{
    m_waiting.clear();
    m_waitingBytes = 0;
}

// Otherwise the timer runs that makes it so.
bool FaultyWire::isFrontDue()
{
    if (m_pause.isActive())
        return false;
    Waiting &front = m_waiting.front();
    const int wait = qMax(static_cast<int>(front.deadline.remainingTime()), front.piece.pauseMs);
    front.piece.pauseMs = 0;
    if (wait > 0)
        m_pause.start(wait);
    return wait <= 0;
}
