#include "FaultyFrame.h"

#include "FrameCodec.h"
#include "MessageBody.h"

#include <QRegularExpression>
#include <QtEndian>

namespace {

using Kind = Fault::Kind;

void falsifySerial(QString *text, qint64 difference)
{
    static const QRegularExpression field(QStringLiteral("(?:^|;)serialNum=(\\d+)"));
    const QRegularExpressionMatch match = field.match(*text);
    if (!match.hasMatch())
        return;
    const quint64 serial = match.captured(1).toULongLong() + static_cast<quint64>(difference);
    text->replace(match.capturedStart(1), match.capturedLength(1), QString::number(serial));
}

void falsifyMessage(OutgoingMessage *message, const Fault &fault)
{
    if (fault.kind() == Kind::WrongSerial)
        falsifySerial(&message->text, fault.parameter("difference"));
    else if (fault.kind() == Kind::NoComma)
        message->text.truncate(message->text.lastIndexOf(QLatin1Char(',')));
    else if (fault.kind() == Kind::UnknownIdentifier)
        message->id = static_cast<int>(fault.parameter("id"));
}

void falsifyFrame(QByteArray *frame, const Fault &fault)
{
    if (fault.kind() == Kind::EmptyBody)
        *frame = FrameCodec::encode(QByteArray());
    if (fault.kind() != Kind::Length)
        return;
    const qint64 field = fault.parameter("field");
    const auto length = static_cast<quint32>(field >= 0 ? field
                                                        : frame->size() - FrameCodec::LengthBytes
                                                     + fault.parameter("difference"));
    qToLittleEndian(length, frame->data());
}

QVector<WirePiece> chopped(const WirePiece &whole, int bytes, int pauseMs)
{
    QVector<WirePiece> pieces{{whole.bytes.left(bytes), whole.delayMs, whole.pauseMs}};
    for (int at = bytes; at < whole.bytes.size(); at += bytes)
        pieces.append({whole.bytes.mid(at, bytes), 0, pauseMs});
    pieces.last().closes = whole.closes;
    return pieces;
}

QVector<WirePiece> split(const WirePiece &whole, const Fault &fault)
{
    const int ms = static_cast<int>(fault.parameter("ms"));
    const int after = static_cast<int>(fault.parameter("after"));
    const WirePiece first{whole.bytes.left(after), whole.delayMs, whole.pauseMs};
    switch (fault.kind()) {
    case Kind::Close:
        return {{first.bytes, first.delayMs, first.pauseMs, true}};
    case Kind::Cut:
        return {first, {whole.bytes.mid(after), 0, ms, whole.closes}};
    case Kind::Drip:
        return chopped(whole, static_cast<int>(fault.parameter("bytes")), ms);
    default:
        return {whole};
    }
}

QVector<WirePiece> changed(const QVector<WirePiece> &pieces, const Fault &fault)
{
    QVector<WirePiece> result;
    if (fault.kind() == Kind::Drop)
        return result;
    const qint64 copies = fault.kind() == Kind::Repeat ? fault.parameter("copies") : 1;
    for (qint64 i = 0; i < copies; ++i) {
        for (const WirePiece &piece : pieces)
            result += split(piece, fault);
    }
    if (fault.kind() == Kind::Delay || fault.kind() == Kind::Jitter)
        result.first().delayMs += static_cast<int>(fault.parameter("ms"));
    return result;
}

} // namespace

QVector<WirePiece> FaultyFrame::pieces(OutgoingMessage message, const QVector<Fault> &faults)
{
    for (const Fault &fault : faults)
        falsifyMessage(&message, fault);
    QByteArray frame = FrameCodec::encode(MessageBody::encode(message.id, message.text));
    for (const Fault &fault : faults)
        falsifyFrame(&frame, fault);
    QVector<WirePiece> pieces{{frame}};
    for (const Fault &fault : faults) {
        if (!pieces.isEmpty())
            pieces = changed(pieces, fault);
    }
    return pieces;
}
