#include "SessionCell.h"

#include "EventWait.h"
#include "SessionFixture.h"

#include <algorithm>

namespace {

const QString Key = QStringLiteral("COM1");

} // namespace

SessionCell::~SessionCell()
{
    delete m_transfer;
    delete m_session;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QStringList SessionCell::occasions()
{
    QStringList names;
    for (const NamedStep &step : allOccasions())
        names.append(QString::fromLatin1(step.name));
    return names;
}

QStringList SessionCell::deeds()
{
    QStringList names;
    for (const NamedStep &step : allDeeds())
        names.append(QString::fromLatin1(step.name));
    return names;
}

QString SessionCell::play(const QString &occasion, const QString &deed)
{
    m_deed = allDeeds().at(deeds().indexOf(deed)).step;
    if (!m_server.start() || !bringUp(&m_other))
        return QStringLiteral("no session to begin with");
    m_session = new DeviceSession(this);
    (this->*allOccasions().at(occasions().indexOf(occasion)).step)();
    if (!waitInEvents([this] { return hasActed(); }))
        return QStringLiteral("it never comes");
    QString problem = problemOfEnds();
    if (!problem.isEmpty())
        return problem;
    return recover() ? QString() : QStringLiteral("nothing can be read afterwards");
}

void SessionCell::carryOut()
{
    (this->*m_deed)();
}

bool SessionCell::bringUp(DeviceSession *session)
{
    return (session->state() != State::Closed || session->open(SessionFixture::options()))
        && waitInEvents([session] { return session->state() == State::Ready; });
}

// A loss may be noticed only now.
bool SessionCell::isUsable(DeviceSession *session)
{
    for (int reads = m_isServerGone ? 2 : 1; reads > 0; --reads) {
        if (!bringUp(session))
            return false;
        const std::unique_ptr<DeviceReply> reply(session->read({Key, 0}, 4));
        if (!waitInEvents([&reply] { return reply->isFinished(); }))
            return false;
        if (reply->error() == SessionError::Code::None)
            return true;
    }
    return false;
}

// Whatever still stands ends, and ends once.
QString SessionCell::problemOfEnds() const
{
    const auto haveEnded = [this] {
        return std::all_of(m_ends.cbegin(), m_ends.cend(), [](int count) { return count > 0; });
    };
    if (!waitInEvents(haveEnded))
        return QStringLiteral("a request never ends");
    if (std::any_of(m_ends.cbegin(), m_ends.cend(), [](int count) { return count > 1; }))
        return QStringLiteral("a request ends twice");
    return QString();
}

bool SessionCell::recover()
{
    if (m_isServerGone && !m_server.start())
        return false;
    if (!m_server.control.tell(R"({"do":"register","answer":"accept"})")
        || !m_server.control.tell(R"({"do":"result","key":"COM1","result":0})"))
        return false;
    if (!isUsable(&m_other))
        return false;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!m_session)
        return !m_reply || m_reply->parent() == this; // it went with its session
    return isUsable(m_session);
}

DeviceReply *SessionCell::watched(DeviceReply *reply)
{
    m_ends.insert(reply, 0);
    connect(reply, &DeviceReply::finished, this, [this, reply] { ++m_ends[reply]; });
    connect(reply, &QObject::destroyed, this, [this, reply] { m_ends.remove(reply); });
    return reply;
}

void SessionCell::startRequests()
{
    m_reply = watched(m_session->read({Key, 0}, 4));
    watched(m_session->write({Key, 16}, "x"));
    m_transfer = new DeviceTransfer(m_session, this);
    m_transfer->setChunkBytes(100);
    m_ends.insert(m_transfer, 0);
    connect(m_transfer, &DeviceTransfer::finished, this,
            [this, transfer = m_transfer.data()] { ++m_ends[transfer]; });
    connect(m_transfer, &QObject::destroyed, this,
            [this, transfer = m_transfer.data()] { m_ends.remove(transfer); });
    m_transfer->read({Key, 0}, 1000);
}

void SessionCell::killServer()
{
    m_server.process.kill();
    m_isServerGone = m_server.process.waitForEnd();
    waitInEvents([this] { return !m_server.control.isConnected(); }); // the next has another
}
