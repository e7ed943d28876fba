#include "WatchVerb.h"

#include "Diagnostics.h"
#include "NumberText.h"
#include "TimeStamp.h"

#include <QJsonArray>

namespace {

constexpr int LongestQuote = 16; // bytes
constexpr int EventColumns = 12;

QString quoted(const QByteArray &data)
{
    return QString::fromLatin1(data.left(LongestQuote).toHex(' '))
        + (data.size() > LongestQuote ? QStringLiteral(" ...") : QString());
}

QString kindOf(const DeviceBroadcast &broadcast)
{
    if (broadcast.isWrite)
        return QStringLiteral("write");
    return broadcast.isRead ? QStringLiteral("read") : QStringLiteral("message");
}

QString listed(const char *change, const QStringList &keys)
{
    return keys.isEmpty() ? QString()
                          : QLatin1Char(' ') + QLatin1String(change) + QLatin1Char(' ')
            + keys.join(QLatin1String(", "));
}

} // namespace

WatchVerb::WatchVerb()
    : StreamVerb(QStringLiteral("watch"),
                 QStringLiteral("Show every notification and broadcast as it arrives."))
{ }

void WatchVerb::addOptions(VerbOptions *options)
{
    addLimits(options, QStringLiteral("events"));
}

void WatchVerb::opening()
{
    connect(session(), &DeviceSession::tableChanged, this, &WatchVerb::showTable);
    connect(session(), &DeviceSession::broadcastReceived, this, &WatchVerb::showBroadcast);
    connect(session(), &DeviceSession::connectionBeginning, this, [this](const QString &port) {
        show(QStringLiteral("connecting"), port, {{QStringLiteral("key"), port}});
    });
    connect(session(), &DeviceSession::allControllersConnecting, this,
            [this] { show(QStringLiteral("connecting"), QStringLiteral("all controllers")); });
    connect(session(), &DeviceSession::allControllersConnected, this,
            [this] { show(QStringLiteral("connected"), QStringLiteral("all controllers")); });
}

void WatchVerb::opened()
{
    if (m_isOpened)
        return;
    m_isOpened = true;
    m_firstTable = session()->equipmentTable().keys();
    Diagnostics::line(QStringLiteral("Watching. Ctrl-C ends it."));
}

void WatchVerb::show(const QString &event, const QString &text, QJsonObject object)
{
    if (isFinished())
        return;
    object.insert(QStringLiteral("time"), timeStamp());
    object.insert(QStringLiteral("event"), event);
    if (isJson())
        output()->json(object);
    else
        output()->text(
            QStringLiteral("%1  %2%3\n").arg(timeStamp(), event.leftJustified(EventColumns), text));
    countOne();
}

void WatchVerb::showTable(const QStringList &added, const QStringList &removed,
                          const QStringList &changed)
{
    if (!m_firstTable.isEmpty() && added == m_firstTable) {
        m_firstTable.clear();
        return;
    }
    const QString text
        = listed("added", added) + listed("removed", removed) + listed("changed", changed);
    show(QStringLiteral("table"), text.trimmed(),
         {{QStringLiteral("added"), QJsonArray::fromStringList(added)},
          {QStringLiteral("removed"), QJsonArray::fromStringList(removed)},
          {QStringLiteral("changed"), QJsonArray::fromStringList(changed)}});
}

void WatchVerb::showBroadcast(const DeviceBroadcast &broadcast)
{
    const EquipmentAddress &address = broadcast.address;
    const QString tag
        = broadcast.tag.isEmpty() ? QString() : QStringLiteral(" tag \"%1\"").arg(broadcast.tag);
    show(QStringLiteral("broadcast"),
         QStringLiteral("%1 \"%2\" %3%4, %5 bytes: %6")
             .arg(kindOf(broadcast), address.key, NumberText::address(address.address), tag)
             .arg(broadcast.data.size())
             .arg(quoted(broadcast.data)),
         {{QStringLiteral("kind"), kindOf(broadcast)},
          {QStringLiteral("key"), address.key},
          {QStringLiteral("address"), static_cast<qint64>(address.address)},
          {QStringLiteral("port"), address.port},
          {QStringLiteral("board"), address.scanBoard},
          {QStringLiteral("deviceType"), address.deviceType},
          {QStringLiteral("tag"), broadcast.tag},
          {QStringLiteral("result"), static_cast<int>(broadcast.result)},
          {QStringLiteral("data"), QString::fromLatin1(broadcast.data.toBase64())}});
}
