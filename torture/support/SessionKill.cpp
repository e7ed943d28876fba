#include "SessionKill.h"

#include "EventWait.h"
#include "SessionFixture.h"

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("A");

SessionOptions options()
{
    SessionOptions options = SessionFixture::options();
    options.reconnect.firstDelayMs = 20;
    options.reconnect.longestDelayMs = 100;
    return options;
}

} // namespace

SessionKill::SessionKill(KilledServer *server)
    : m_server(server)
{
    m_outcome.isSession = true;
    connect(&m_session, &DeviceSession::stateChanged, this, [this](State state) {
        if (state == State::Ready && m_endsOf.isEmpty())
            makeRequests();
        if (state == State::Lost && m_outcome.noticeMs < 0)
            m_outcome.noticeMs = static_cast<double>(m_server->sinceDeathNs()) / 1e6;
    });
}

SessionKill::~SessionKill()
{
    qDeleteAll(m_endsOf.keyBegin(), m_endsOf.keyEnd());
}

void SessionKill::makeRequests()
{
    m_outcome.wasReady = m_session.state() == State::Ready;
    for (int i = 0; i < Requests; ++i)
        watch(i % 2 == 0 ? m_session.read({Key, 0}, 1) : m_session.write({Key, 1}, "x"));
    m_outcome.requests = Requests;
}

void SessionKill::watch(DeviceReply *reply)
{
    m_endsOf.insert(reply, 0);
    connect(reply, &DeviceReply::finished, this, [this, reply] { ++m_endsOf[reply]; });
}

bool SessionKill::isOver() const
{
    return !m_endsOf.isEmpty()
        && std::all_of(m_endsOf.cbegin(), m_endsOf.cend(), [](int ends) { return ends > 0; });
}

// The server died before the session was ready, which is then closed.
bool SessionKill::isUnreached() const
{
    return m_session.state() == State::Closed;
}

void SessionKill::run()
{
    m_session.open(options());
    bool isKnown = waitInEvents([this] { return isOver() || isUnreached(); });
    if (isUnreached() && m_endsOf.isEmpty()) {
        makeRequests(); // they are refused
        isKnown = isKnown && waitInEvents([this] { return isOver(); });
    } else {
        // When the byte is the last one's, everything is over before it.
        isKnown = isKnown && waitInEvents([this] {
                      return m_session.state() != State::Ready && m_outcome.noticeMs >= 0;
                  });
    }
    judge();
    m_outcome.odd += isKnown ? 0 : 1;
}

void SessionKill::runUndisturbed()
{
    m_session.open(options());
    m_outcome.odd += waitInEvents([this] { return isOver(); }) ? 0 : 1;
    judge();
}

void SessionKill::judge()
{
    const QSet<quint64> answered = m_server->answered();
    const Code lostCode = m_outcome.wasReady ? Code::ConnectionLost : Code::NotReady;
    for (auto it = m_endsOf.cbegin(); it != m_endsOf.cend(); ++it) {
        const DeviceReply &reply = *it.key();
        const bool isAnswered = answered.contains(reply.serialNumber());
        m_outcome.unended += it.value() == 0 ? 1 : 0;
        m_outcome.twice += it.value() > 1 ? 1 : 0;
        if (reply.error() == Code::None) {
            ++m_outcome.good;
            m_outcome.goodWithoutReply += isAnswered ? 0 : 1;
        } else if (reply.error() == lostCode) {
            ++m_outcome.lost;
            m_outcome.lostDespiteReply += isAnswered ? 1 : 0;
        } else {
            ++m_outcome.odd;
        }
    }
}

void SessionKill::comeBack()
{
    if (!m_server->start())
        return;
    QElapsedTimer clock;
    clock.start();
    if (isUnreached())
        m_session.open(options());
    if (!waitInEvents([this] { return m_session.state() == State::Ready; }))
        return;
    m_outcome.backMs = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    const QScopedPointer<DeviceReply> reply(m_session.read({Key, 0}, 1));
    m_outcome.cameBack
        = waitInEvents([&] { return reply->isFinished(); }) && reply->error() == Code::None;
}

const KillOutcome &SessionKill::outcome() const
{
    return m_outcome;
}
