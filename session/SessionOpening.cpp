// How SessionCore reaches the server: opening, registering, losing it and coming back.
#include "SessionCore.h"

#include "KsProxyTools.h"
#include "Later.h"
#include "ServerLink.h"
#include "SessionLog.h"

#include <QPointer>

namespace {

const QString ServerProcessName = QStringLiteral("KVTServerMaster");
constexpr int LongestDelayMs = 200; // while opening

} // namespace

void SessionCore::attempt()
{
    if (!m_link)
        m_link = newLink();
    const QPointer<SessionCore> self(this);
    const std::shared_ptr<ServerLink> link = m_link; // outlives what the events do
    const bool isConnected = link->connectToServer();
    if (!self || m_link != link)
        return;
    if (isConnected)
        beginRegistration();
    else
        goOnUnreached();
}

std::shared_ptr<ServerLink> SessionCore::newLink()
{
    auto link = std::make_shared<ServerLink>(m_options.silenceLimitMs);
    connect(link.get(), &ServerLink::confirmed, this, guardedSlot(&SessionCore::onConfirmed));
    connect(link.get(), &ServerLink::refused, this, guardedSlot(&SessionCore::onRefused));
    connect(link.get(), &ServerLink::lost, this, guardedSlot(&SessionCore::onLost));
    connect(link.get(), &ServerLink::answered, this, guardedSlot(&SessionCore::onAnswered));
    connect(link.get(), &ServerLink::tableReplaced, this, guardedSlot(&SessionCore::adoptTable));
    connect(link.get(), &ServerLink::outOfMemory, this, &SessionCore::giveUpLater);
    connect(link.get(), &ServerLink::connectionBeginning, this, [this](const QString &port) {
        announceWhenReady([this, port] { Q_EMIT m_session->connectionBeginning(port); });
    });
    connect(link.get(), &ServerLink::allControllersConnecting, this, [this] {
        announceWhenReady([this] { Q_EMIT m_session->allControllersConnecting(); });
    });
    connect(link.get(), &ServerLink::allControllersConnected, this,
            [this] { announceWhenReady([this] { Q_EMIT m_session->allControllersConnected(); }); });
    connect(link.get(), &ServerLink::broadcastReceived, this,
            [this](const DeviceBroadcast &broadcast) {
                announceWhenReady(
                    [this, broadcast] { Q_EMIT m_session->broadcastReceived(broadcast); });
            });
    return link;
}

void SessionCore::dropLink()
{
    m_attempt.stop();
    m_registrationLimit.stop();
    m_pacer.clear();
    if (m_link)
        m_link->disconnect(this); // it may stand on the stack and live a little longer
    m_link.reset();
}

void SessionCore::goOnUnreached()
{
    if (!m_options.startsServer && !m_isComingBack) {
        fail({SessionError::Code::NoServer,
              tr("No device server takes connections, and none may be started.")});
        return;
    }
    if (m_state == State::Registering) // over a connection that has gone since
        setState(m_isComingBack ? State::Lost : State::Connecting);
    if (m_options.startsServer && !m_hasLaunched && !startServer())
        return;
    retryLater();
}

// One that runs but takes no connections yet is waited for. False when the session has failed.
bool SessionCore::startServer()
{
    m_hasLaunched = true;
    unsigned long long pid = 0;
    if (KsProxyTools::checkProcessRunning(ServerProcessName, pid)) {
        SessionLog::debug("a device server runs, process", pid,
                          "- waiting until it takes connections");
        return true;
    }
    const QString path = m_options.serverPath.isEmpty() ? KsProxyTools::getDefaultServerPath()
                                                        : m_options.serverPath;
    setState(State::StartingServer);
    SessionLog::debug("starting", path);
    const bool isStarted = KsProxyTools::startProcess(path);
    if (!isStarted && !m_isComingBack) {
        fail({SessionError::Code::ServerStartFailed,
              tr("The device server \"%1\" cannot be started: is there such a program, and may you "
                 "run it?")
                  .arg(path)});
        return false;
    }
    if (!isStarted)
        SessionLog::warning("cannot be started:", path); // somebody else may start it
    setState(isStarted ? State::Connecting : State::Lost);
    return true;
}

void SessionCore::retryLater()
{
    if (!m_isComingBack && m_startLimit.hasExpired()) {
        fail({SessionError::Code::StartTimedOut, startTimeoutText()});
        return;
    }
    const int longest = m_isComingBack ? m_options.reconnect.longestDelayMs : LongestDelayMs;
    Later::start(&m_attempt, m_delayMs);
    m_delayMs = m_delayMs > longest / 2 ? longest : 2 * m_delayMs;
}

QString SessionCore::startTimeoutText() const
{
    unsigned long long pid = 0;
    if (KsProxyTools::checkProcessRunning(ServerProcessName, pid))
        return tr("A device server runs, process %1, but takes no connections within %2 ms: is it "
                  "another user's, or has it another temporary folder?")
            .arg(pid)
            .arg(m_options.startTimeoutMs);
    return tr("No device server takes connections within %1 ms: it may have ended at once.")
        .arg(m_options.startTimeoutMs);
}

void SessionCore::beginRegistration()
{
    if (m_state == State::Ready)
        return; // the answer came before the call for it returned
    if (m_state != State::Registering) {
        setState(State::Connecting);
        setState(State::Registering);
    }
    Later::start(&m_registrationLimit, m_options.registrationTimeoutMs);
}

void SessionCore::onConfirmed()
{
    beginRegistration();
    m_registrationLimit.stop();
    m_attempt.stop();
    m_lastError = SessionError();
    m_isComingBack = true;
    setState(State::Ready);
    adoptTable();
}

void SessionCore::onRefused(bool withError)
{
    if (withError)
        fail({SessionError::Code::RegistrationFailed,
              tr("The device server reports an error of the registration.")});
    else
        fail({SessionError::Code::RegistrationRejected,
              tr("The device server rejects the registration.")});
}

void SessionCore::onRegistrationTimeout()
{
    const SessionError error(SessionError::Code::RegistrationTimedOut,
                             tr("The device server does not answer the registration within %1 ms.")
                                 .arg(m_options.registrationTimeoutMs));
    if (!m_isComingBack) {
        fail(error);
        return;
    }
    // The link stays: a late answer is as good, and each new one would cost a connection.
    SessionLog::debug(SessionLog::Sentence{error.text});
    comeBack();
}

void SessionCore::onLost(const QString &reason)
{
    if (m_state == State::Ready)
        loseServer({SessionError::Code::ConnectionLost, reason});
    else
        loseAttempt(reason);
}

void SessionCore::loseAttempt(const QString &reason)
{
    SessionLog::debug(SessionLog::Sentence{reason});
    const bool wasSecondHand = m_link->isSecondHand();
    dropLink();
    if (wasSecondHand) {
        Later::start(&m_attempt, 0); // nobody need know that it went on with a dead connection
        return;
    }
    setState(m_isComingBack ? State::Lost : State::Connecting);
    retryLater();
}

void SessionCore::loseServer(const SessionError &error)
{
    dropLink();
    m_hasLaunched = false;
    m_delayMs = m_options.reconnect.firstDelayMs;
    m_lastError = error;
    announce([this, error] { Q_EMIT m_session->errorOccurred(error); });
    setState(State::Lost);
    m_replies.settleAll(error);
    comeBack();
}

void SessionCore::comeBack()
{
    setState(State::Lost);
    if (!m_options.reconnect.isOff())
        retryLater();
}
