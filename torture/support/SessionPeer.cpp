#include "SessionPeer.h"

#include "EventWait.h"
#include "SessionFixture.h"

using State = DeviceSession::State;

namespace {

constexpr int TimeoutMs = 1000;

} // namespace

SessionPeer::SessionPeer(int silenceLimitMs)
    : m_silenceLimitMs(silenceLimitMs)
{
    QObject::connect(&m_session, &DeviceSession::stateChanged, &m_session,
                     [this](State state) { m_hasLost = m_hasLost || state == State::Lost; });
}

bool SessionPeer::open()
{
    SessionOptions options = SessionFixture::options();
    options.silenceLimitMs = m_silenceLimitMs;
    options.requestTimeoutMs = TimeoutMs;
    return m_session.open(options)
        && waitInEvents([this] { return m_session.state() == State::Ready; });
}

void SessionPeer::request()
{
    if (m_session.state() != State::Ready)
        return;
    ++m_made;
    DeviceReply *const reply = m_session.read({QStringLiteral("A"), 0}, 1);
    QObject::connect(reply, &DeviceReply::finished, reply, [this, reply] {
        ++m_ended;
        if (reply->error() == SessionError::Code::None)
            m_answerMs.add(static_cast<double>(reply->elapsed()));
        reply->deleteLater();
    });
}

bool SessionPeer::givesUp() const
{
    return true;
}

bool SessionPeer::hasLost() const
{
    return m_hasLost;
}
