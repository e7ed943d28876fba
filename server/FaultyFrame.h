#ifndef FAULTYFRAME_H
#define FAULTYFRAME_H

#include "Fault.h"

#include <QByteArray>
#include <QVector>

/// Bytes that are written at once.
struct WirePiece
{
    QByteArray bytes;
    int delayMs = 0; ///< since the message was sent
    int pauseMs = 0; ///< since the piece before it was written
    bool closes = false; ///< the connection ends with it
};

/// What becomes of a message on its way into bytes.
namespace FaultyFrame {

/// The pieces in which \a message is written; none when it is dropped. Faults that concern more
/// than the one message have no effect here.
QVector<WirePiece> pieces(OutgoingMessage message, const QVector<Fault> &faults);

} // namespace FaultyFrame

#endif
