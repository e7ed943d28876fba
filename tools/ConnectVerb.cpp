#include "ConnectVerb.h"

#include "EquipmentText.h"
#include "KeyCheck.h"
#include "VerbOptions.h"

#include <QTimer>

#include <algorithm>

ConnectVerb::ConnectVerb()
    : CommandVerb(QStringLiteral("connect"),
                  QStringLiteral("Connect controllers, and show each as it comes up."))
{ }

void ConnectVerb::addOptions(VerbOptions *options)
{
    options->arguments("NAME", QStringLiteral("The controllers' connection keys: see list."), false,
                       &m_names);
    options->flag("--all", QStringLiteral("Connect all controllers."), &m_isAll);
}

QString ConnectVerb::problem() const
{
    if (m_isAll == m_names.isEmpty())
        return QString();
    return QStringLiteral("Name controllers, or give --all: one of the two.");
}

SessionError ConnectVerb::check() const
{
    const QStringList controllers = EquipmentText::controllers(session()->equipmentTable());
    for (const QString &name : m_names) {
        if (SessionError error = checkedKey(name, controllers))
            return error;
    }
    return {};
}

bool ConnectVerb::send()
{
    connect(session(), &DeviceSession::connectionBeginning, this,
            [this](const QString &port) { show(port, QStringLiteral("connecting")); });
    connect(session(), &DeviceSession::tableChanged, this, &ConnectVerb::showConnected);
    m_waiting = m_isAll ? EquipmentText::controllers(session()->equipmentTable()) : m_names;
    m_waiting.removeDuplicates();
    for (const QString &name : qAsConst(m_waiting)) {
        if (EquipmentText::isConnected(session()->equipmentTable().value(name)))
            m_upBefore.append(name);
    }
    if (m_isAll)
        return session()->connectAllControllers();
    return std::all_of(m_waiting.cbegin(), m_waiting.cend(),
                       [this](const QString &name) { return session()->connectController(name); });
}

void ConnectVerb::taken()
{
    m_isTaken = true;
    QTimer::singleShot(sessionOptions().requestTimeoutMs, this, &ConnectVerb::giveUp);
    showConnected(); // those that were up before, too
}

void ConnectVerb::showConnected()
{
    const QMap<QString, EquipmentInfo> table = session()->equipmentTable();
    const QStringList waiting = m_waiting;
    for (const QString &key : waiting) {
        const bool isEarly = !m_isTaken && m_upBefore.contains(key);
        if (isEarly || !EquipmentText::isConnected(table.value(key)))
            continue;
        show(key, QStringLiteral("connected"));
        m_waiting.removeOne(key);
    }
    if (m_isTaken && m_waiting.isEmpty())
        finish(ExitCode::Done);
}

void ConnectVerb::show(const QString &key, const QString &state)
{
    confirm(QStringLiteral("%1 %2").arg(key, state),
            {{QStringLiteral("key"), key}, {QStringLiteral("state"), state}});
}

void ConnectVerb::giveUp()
{
    fail(ExitCode::TimedOut,
         QStringLiteral("Not connected in time: %1.").arg(m_waiting.join(QLatin1String(", "))));
}
