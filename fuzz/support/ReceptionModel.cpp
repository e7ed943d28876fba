#include "ReceptionModel.h"

#include "NaiveEquipmentTable.h"
#include "PackageBase.h"

#include <optional>
#include <utility>

namespace {

constexpr int FirstTypedReply = 11;
constexpr int LastTypedReply = 16;
constexpr int Broadcast = 18;

// The package library reads the text here too: that has a target of its own.
std::optional<quint64> serialNumIn(const QString &text)
{
    PackageBase package;
    const quint64 initial = package.getSerialNum();
    package.fromString(text);
    if (package.getSerialNum() == initial)
        return std::nullopt;
    return package.getSerialNum();
}

} // namespace

void ReceptionModel::setByteArrayMode(bool isOn)
{
    m_isByteArrayMode = isOn;
}

void ReceptionModel::receive(const QByteArray &body)
{
    if (body.isEmpty())
        return;
    const auto first = static_cast<uchar>(body.at(0));
    const int id = first < 0x80 ? first : first - 0x100;
    const QByteArray rest = body.mid(1);
    const QString text = QString::fromLatin1(rest.constData(), rest.size());
    const int comma = text.lastIndexOf(QLatin1Char(','));
    if (id == 0) {
        isRegistered = true;
        version = comma < 0 ? QString() : text.mid(comma + 1);
        table = NaiveEquipmentTable::read(comma < 0 ? text : text.left(comma));
    } else if (id >= 1 && id <= 3) {
        isRegistered = false;
        version.clear();
        table.clear();
        m_postedErrors += id == 3 ? 1 : 0;
    } else if (id == 5) {
        beginningPorts.append(text);
    } else if (id == 7) {
        ++m_postedBeginnings;
    } else if (id == 8 || id == 9) {
        table = NaiveEquipmentTable::read(text);
        ++(id == 8 ? m_postedCompletions : equipmentChanges);
    } else if (id >= 10 && id <= Broadcast) {
        queueReply(id, rest);
    }
}

void ReceptionModel::queueReply(int id, const QByteArray &rest)
{
    if (m_isByteArrayMode)
        m_queue.append({id, QString(), rest});
    else
        m_queue.append({id, QString::fromLatin1(rest.constData(), rest.size()), QByteArray()});
}

void ReceptionModel::drain()
{
    const QList<QueuedReply> queue = std::exchange(m_queue, {});
    for (const QueuedReply &reply : queue) {
        if (reply.id >= FirstTypedReply && reply.id <= LastTypedReply && !m_isByteArrayMode)
            complete(reply);
        else if (reply.id == Broadcast)
            raise(reply);
    }
}

void ReceptionModel::deliver()
{
    registerErrors += std::exchange(m_postedErrors, 0);
    allBeginning += std::exchange(m_postedBeginnings, 0);
    allCompleted += std::exchange(m_postedCompletions, 0);
}

// The newest with that number, else the oldest.
void ReceptionModel::complete(const QueuedReply &reply)
{
    const std::optional<quint64> serialNum = serialNumIn(reply.text);
    int place = pending.size() - 1;
    while (place > 0
           && (pending.at(place).index == Command || pending.at(place).serialNum != serialNum))
        --place;
    const int request = place < 0 ? Command : pending.takeAt(place).index;
    if (request == Command)
        ++keptObjects;
    else
        completions.append({request, reply.id});
}

void ReceptionModel::raise(const QueuedReply &reply)
{
    const int comma = reply.text.lastIndexOf(QLatin1Char(','));
    if (m_isByteArrayMode || (comma < 0 && !reply.bytes.contains(',')))
        ++keptObjects;
    else
        broadcasts.append(reply.text.mid(comma + 1).toInt());
}
