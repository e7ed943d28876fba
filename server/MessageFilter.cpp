#include "MessageFilter.h"

#include "JsonFields.h"
#include "TarnEnum.h"

namespace {

enum Group { Replies, Notifications, Broadcasts, All };

const QStringList GroupNames{QStringLiteral("replies"), QStringLiteral("notifications"),
                             QStringLiteral("broadcasts"), QStringLiteral("all")};

constexpr int LastIdentifier = 255;

bool belongs(int id, int group)
{
    switch (group) {
    case Replies:
        return id >= TarnEnum::ReplyReadData && id <= TarnEnum::ReplyWriteMemData;
    case Notifications:
        return id <= TarnEnum::EquipmentChange;
    case Broadcasts:
        return id == TarnEnum::BroadcastReply;
    default:
        return true;
    }
}

} // namespace

MessageFilter MessageFilter::read(JsonFields *fields, bool broadcastsFirst)
{
    MessageFilter filter;
    const int group
        = fields->choice("messages", GroupNames, broadcastsFirst ? Broadcasts : Replies);
    const QVector<qint64> ids = fields->numbers("ids", 0, LastIdentifier);
    if (fields->has("ids") && fields->has("messages"))
        fields->refuse("ids", QStringLiteral("cannot stand beside \"messages\""));
    for (int id = 0; id <= LastIdentifier; ++id)
        filter.m_ids.set(static_cast<size_t>(id),
                         fields->has("ids") ? ids.contains(id) : belongs(id, group));
    filter.m_key = fields->text("key");
    return filter;
}

bool MessageFilter::lets(const OutgoingMessage &message) const
{
    return m_ids.test(static_cast<size_t>(message.id & LastIdentifier))
        && (m_key.isEmpty() || m_key == message.key);
}
