#include "SessionRecorder.h"

#include <QMetaEnum>

namespace {

const QString StatePrefix = QStringLiteral("state ");

template <typename Enum>
QString nameOf(Enum value)
{
    return QString::fromLatin1(QMetaEnum::fromType<Enum>().valueToKey(static_cast<int>(value)));
}

QString list(const QStringList &keys)
{
    return keys.join(QLatin1Char(' '));
}

} // namespace

SessionRecorder::SessionRecorder(DeviceSession *session)
{
    connect(session, &DeviceSession::stateChanged, this,
            [this](DeviceSession::State state) { add(StatePrefix + nameOf(state)); });
    connect(session, &DeviceSession::errorOccurred, this, [this](const SessionError &error) {
        add(QStringLiteral("error ") + nameOf(error.code));
    });
    connect(
        session, &DeviceSession::tableChanged, this,
        [this](const QStringList &added, const QStringList &removed, const QStringList &changed) {
            add(QStringLiteral("table +[%1] -[%2] *[%3]")
                    .arg(list(added), list(removed), list(changed)));
        });
    connect(session, &DeviceSession::connectionBeginning, this,
            [this](const QString &port) { add(QStringLiteral("connecting ") + port); });
    connect(session, &DeviceSession::allControllersConnecting, this,
            [this] { add(QStringLiteral("connecting all")); });
    connect(session, &DeviceSession::allControllersConnected, this,
            [this] { add(QStringLiteral("connected all")); });
    connect(session, &DeviceSession::broadcastReceived, this,
            [this](const DeviceBroadcast &broadcast) {
                add(QStringLiteral("broadcast %1 %2")
                        .arg(broadcast.address.key, QString::fromLatin1(broadcast.data)));
            });
}

QStringList SessionRecorder::all() const
{
    return m_all;
}

QStringList SessionRecorder::states() const
{
    QStringList states;
    for (const QString &text : m_all) {
        if (text.startsWith(StatePrefix))
            states.append(text.mid(StatePrefix.size()));
    }
    return states;
}

int SessionRecorder::count(const QString &text) const
{
    return m_all.count(text);
}

void SessionRecorder::clear()
{
    m_all.clear();
}

void SessionRecorder::add(const QString &text)
{
    m_all.append(text);
}
