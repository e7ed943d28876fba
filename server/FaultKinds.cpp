#include "FaultKinds.h"

#include "CommandFields.h"
#include "RegisterAnswer.h"

namespace {

using FaultKinds::Entry;
using FaultKinds::Parameter;
using Kind = Fault::Kind;

constexpr qint64 LargestLength = 0xFFFFFFFFLL;
constexpr qint64 LargestDifference = 1 << 30;
constexpr int LargestPiece = 1 << 20;

Parameter milliseconds(qint64 initial)
{
    return {"ms", 0, CommandFields::LongestMs, initial};
}

Parameter position(qint64 initial)
{
    return {"after", 0, LargestPiece, initial};
}

const Parameter Frames{"frames", 2, 1000, 2};
const Parameter Difference{"difference", -LargestDifference, LargestDifference, 1};

} // namespace

const QVector<Entry> &FaultKinds::all()
{
    static const QVector<Entry> entries{
        {QStringLiteral("delay"), Kind::Delay, {milliseconds(100)}},
        {QStringLiteral("jitter"), Kind::Jitter, {milliseconds(100)}},
        {QStringLiteral("drip"), Kind::Drip, {milliseconds(1), {"bytes", 1, LargestPiece, 1}}},
        {QStringLiteral("coalesce"), Kind::Coalesce, {Frames, milliseconds(1000)}},
        {QStringLiteral("cut"), Kind::Cut, {position(2), milliseconds(100)}},
        {QStringLiteral("drop"), Kind::Drop, {}},
        {QStringLiteral("repeat"), Kind::Repeat, {{"copies", 2, 100, 2}}},
        {QStringLiteral("wrongSerial"), Kind::WrongSerial, {Difference}},
        {QStringLiteral("reorder"), Kind::Reorder, {Frames, milliseconds(1000)}},
        {QStringLiteral("unknownIdentifier"), Kind::UnknownIdentifier, {{"id", 0, 255, 99}}},
        {QStringLiteral("emptyBody"), Kind::EmptyBody, {}},
        {QStringLiteral("length"), Kind::Length, {{"field", 0, LargestLength, -1}, Difference}},
        {QStringLiteral("noComma"), Kind::NoComma, {}},
        {QStringLiteral("close"), Kind::Close, {position(5)}},
        {QStringLiteral("stall"), Kind::Stall, {milliseconds(0)}},
        {QStringLiteral("register"), Kind::Register, {{"answer", 0, 0, 1, registerAnswerNames()}}},
        {QStringLiteral("exit"), Kind::Exit, {{"code", 0, 255, 1}}},
    };
    return entries;
}

QStringList FaultKinds::names()
{
    QStringList names;
    for (const Entry &entry : all())
        names.append(entry.name);
    return names;
}
