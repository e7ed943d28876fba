#include "SessionCore.h"

#include "EquipmentTableChange.h"
#include "Later.h"
#include "ServerLink.h"
#include "SessionLog.h"

namespace {

constexpr int FirstDelayMs = 20; // while opening

} // namespace

SessionCore::SessionCore(DeviceSession *session)
    : m_session(session)
    , m_pacer([this] { return m_link->isHeldUp(); })
{
    m_attempt.setSingleShot(true);
    connect(&m_attempt, &QTimer::timeout, this, guardedSlot(&SessionCore::attempt));
    m_registrationLimit.setSingleShot(true);
    connect(&m_registrationLimit, &QTimer::timeout, this,
            guardedSlot(&SessionCore::onRegistrationTimeout));
}

SessionCore::~SessionCore()
{
    dropLink();
}

bool SessionCore::open(const SessionOptions &options)
{
    if (m_state != State::Closed)
        return refuse({SessionError::Code::NotReady, tr("The session is open already.")});
    const QString problem = options.problem();
    if (!problem.isEmpty())
        return refuse({SessionError::Code::InvalidArgument, problem});
    m_options = options;
    m_lastError = SessionError();
    m_delayMs = FirstDelayMs;
    m_hasLaunched = false;
    m_isComingBack = false;
    m_startLimit.setRemainingTime(options.startTimeoutMs);
    Later::start(&m_attempt, 0);
    setState(State::Connecting);
    return true;
}

void SessionCore::close()
{
    if (m_state == State::Closed)
        return;
    dropLink();
    m_replies.settleAll(guarded(
        [] {
            return SessionError(SessionError::Code::SessionClosed, tr("The session was closed."));
        },
        SessionError::outOfMemory()));
    m_equipmentTable.clear();
    m_serverVersion.clear();
    m_lastError = SessionError();
    setState(State::Closed);
}

DeviceSession::State SessionCore::state() const
{
    return m_state;
}

const SessionError &SessionCore::lastError() const
{
    return m_lastError;
}

QString SessionCore::serverVersion() const
{
    return m_serverVersion;
}

const QMap<QString, EquipmentInfo> &SessionCore::equipmentTable() const
{
    return m_equipmentTable;
}

bool SessionCore::refuse(const SessionError &error)
{
    SessionLog::warning("refused:", SessionLog::Sentence{error.text});
    m_lastError = error;
    return false;
}

bool SessionCore::refuse(SessionError::Code code, const char *sentence)
{
    return attemptTo([&] { return refuse({code, DeviceSession::tr(sentence)}); });
}

// Not at once: what stands on the stack may be the link's.
void SessionCore::giveUpLater()
{
    Later::call(this, [this] {
        if (!guardedTwice([this] { giveUp(); }))
            fail(SessionError::outOfMemory()); // not even for the next attempt's timer
    });
}

void SessionCore::giveUp()
{
    if (m_state == State::Closed)
        return;
    const SessionError error = SessionError::outOfMemory();
    if (m_state == State::Ready) {
        loseServer(error);
    } else if (m_isComingBack) {
        dropLink();
        comeBack();
    } else {
        fail(error);
    }
}

void SessionCore::fail(const SessionError &error)
{
    dropLink();
    m_equipmentTable.clear();
    m_serverVersion.clear();
    m_lastError = error;
    announce([this, error] { Q_EMIT m_session->errorOccurred(error); });
    setState(State::Closed);
}

void SessionCore::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    SessionLog::debug("state", state);
    announce([this, state] { Q_EMIT m_session->stateChanged(state); });
}

void SessionCore::adoptTable()
{
    if (m_state != State::Ready)
        return;
    m_serverVersion = m_link->serverVersion();
    const QMap<QString, EquipmentInfo> table = m_link->equipmentTable();
    const EquipmentTableChange change = EquipmentTableChange::between(m_equipmentTable, table);
    m_equipmentTable = table;
    if (change.isEmpty())
        return;
    SessionLog::debug("table:", change.added.size(), "added", change.removed.size(), "removed",
                      change.changed.size(), "changed");
    announce([this, change] {
        Q_EMIT m_session->tableChanged(change.added, change.removed, change.changed);
    });
}
