#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "FailingCalls.h"
#include "FailingScenario.h"
#include "FailingStage.h"

#include <QScopedPointer>

namespace {

using State = DeviceSession::State;
using Code = SessionError::Code;

/// A session for one scenario.
class StageSession
{
public:
    StageSession()
        : m_session(makePaused<DeviceSession>())
    {
        const FailingCalls::Pause pause;
        QObject::connect(m_session.get(), &DeviceSession::errorOccurred, m_session.get(),
                         [this] { ++m_errors; });
        QObject::connect(m_session.get(), &DeviceSession::broadcastReceived, m_session.get(),
                         [this] { ++m_broadcasts; });
        QObject::connect(m_session.get(), &DeviceSession::connectionBeginning, m_session.get(),
                         [this] { ++m_beginnings; });
    }
    ~StageSession()
    {
        m_session.reset();
        serveDeletions();
    }

    DeviceSession *operator->() const
    {
        return m_session.get();
    }
    DeviceSession *get() const
    {
        return m_session.get();
    }
    int broadcasts() const
    {
        return m_broadcasts;
    }
    int beginnings() const
    {
        return m_beginnings;
    }

    bool open() const
    {
        SessionOptions options;
        options.startsServer = false;
        options.registrationTimeoutMs = 800;
        options.requestTimeoutMs = 800;
        options.silenceLimitMs = 1000;
        return m_session->open(options);
    }

    /// Opens it up to `Ready`.
    Verdict reach() const
    {
        if (!open())
            return reportedBy(m_session->lastError(), "open failed");
        return settle(State::Ready);
    }

    /// Waits for \a state; a session that closes instead must say why.
    Verdict settle(State state) const
    {
        const bool isSettled = serveUntil(
            [&] { return m_session->state() == state || m_session->state() == State::Closed; });
        if (!isSettled && m_session->state() == State::Lost)
            return reportedBy(m_session->lastError(), "lost"); // goes on trying
        if (!isSettled)
            return Verdict::wrong(
                QStringLiteral("stays in state %1").arg(static_cast<int>(m_session->state())));
        return m_session->state() == state ? Verdict::done()
                                           : reportedBy(m_session->lastError(), "closed");
    }

    static Verdict reportedBy(const SessionError &error, const char *what)
    {
        return error ? Verdict::reported()
                     : Verdict::wrong(QLatin1String(what) + QLatin1String(" without an error"));
    }

private:
    Q_DISABLE_COPY_MOVE(StageSession)

    std::unique_ptr<DeviceSession> m_session;
    int m_errors = 0;
    int m_broadcasts = 0;
    int m_beginnings = 0;
};

Verdict finish(DeviceReply *reply, const StageSession &session)
{
    if (reply == nullptr)
        return StageSession::reportedBy(session->lastError(), "no reply");
    if (!serveUntil([reply] { return reply->isFinished(); }))
        return Verdict::wrong(QStringLiteral("a reply never finishes"));
    Verdict verdict = reply->error() == Code::None
        ? Verdict::done()
        : StageSession::reportedBy(reply->sessionError(), "a reply failed");
    delete reply;
    return verdict;
}

// Lets \a scenario happen in a session that has been opened.
template <typename Scenario>
Verdict inOpenSession(const Scenario &scenario)
{
    StagePeer peer;
    const StageSession session;
    Verdict verdict = session.reach();
    return verdict.kind == Verdict::Done ? scenario(session, peer) : verdict;
}

Verdict openAndClose()
{
    StagePeer peer;
    const StageSession session;
    Verdict verdict = session.reach();
    session->close();
    return verdict.kind != Verdict::Done || session->state() == State::Closed
        ? verdict
        : Verdict::wrong(QStringLiteral("is not closed"));
}

Verdict openWithoutServer()
{
    const StageSession session;
    Verdict verdict = session.reach();
    return Verdict::require(verdict.kind == Verdict::Reported, "opened without a server");
}

Verdict openAndBeRejected()
{
    StagePeer peer("2:");
    const StageSession session;
    Verdict verdict = session.reach();
    return verdict.kind == Verdict::Done ? Verdict::wrong(QStringLiteral("opened all the same"))
                                         : verdict;
}

Verdict readByReply()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        return finish(session->read({QStringLiteral("COM1"), 0}, 64), session);
    });
}

Verdict writeByReply()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        return finish(session->write({QStringLiteral("COM1"), 0}, QByteArray(10000, 'w')), session);
    });
}

Verdict readOfClosedSession()
{
    const StageSession session;
    Verdict verdict = finish(session->read({QStringLiteral("COM1"), 0}, 64), session);
    return Verdict::require(verdict.kind == Verdict::Reported, "read without a server");
}

Verdict abortReply()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        DeviceReply *const reply = session->read({QStringLiteral("silent"), 0}, 4);
        if (reply != nullptr)
            reply->abort();
        return finish(reply, session);
    });
}

Verdict letReplyTimeOut()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        return finish(session->read({QStringLiteral("silent"), 0}, 4, 50), session);
    });
}

Verdict closeWithReply()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        DeviceReply *const reply = session->read({QStringLiteral("silent"), 0}, 4);
        if (reply == nullptr)
            return finish(reply, session);
        session->close();
        return finish(reply, session);
    });
}

Verdict transfer(bool isWriting)
{
    return inOpenSession([isWriting](const StageSession &session, const StagePeer &) {
        QScopedPointer<DeviceTransfer> transfer;
        {
            const FailingCalls::Pause pause;
            transfer.reset(new DeviceTransfer(session.get()));
        }
        transfer->setChunkBytes(1000);
        if (isWriting)
            transfer->write({QStringLiteral("COM1"), 0}, QByteArray(4000, 'w'));
        else
            transfer->read({QStringLiteral("COM1"), 0}, 4000);
        if (!serveUntil([&] { return transfer->isFinished(); }))
            return Verdict::wrong(QStringLiteral("a transfer never finishes"));
        return transfer->error() == Code::None
            ? Verdict::done()
            : StageSession::reportedBy(transfer->sessionError(), "a transfer failed");
    });
}

Verdict transferRead()
{
    return transfer(false);
}

Verdict transferWrite()
{
    return transfer(true);
}

Verdict comeBack()
{
    auto peer = std::make_unique<StagePeer>();
    const StageSession session;
    Verdict verdict = session.reach();
    if (verdict.kind != Verdict::Done)
        return verdict;
    peer.reset();
    Verdict lost = session.settle(State::Lost);
    if (lost.kind != Verdict::Done)
        return lost;
    peer = std::make_unique<StagePeer>();
    const Verdict back = session.settle(State::Ready);
    return session->state() == State::Closed
        ? Verdict::wrong(QStringLiteral("closes instead of coming back"))
        : back;
}

Verdict orderByCommand()
{
    return inOpenSession([](const StageSession &session, const StagePeer &) {
        if (!session->connectController(QStringLiteral("COM1")))
            return StageSession::reportedBy(session->lastError(), "a command was refused");
        return finish(session->read({QStringLiteral("COM1"), 0}, 4), session);
    });
}

// Has the server send a message by \a order and waits until \a count of something has come of it.
Verdict receive(const QByteArray &order, int (StageSession::*count)() const)
{
    return inOpenSession([&order, count](const StageSession &session, const StagePeer &peer) {
        if (!session->sendOrder(order))
            return StageSession::reportedBy(session->lastError(), "an order was refused");
        const auto hasCome = [&] { return (session.*count)() > 0; };
        if (serveUntil([&] { return hasCome() || session->state() != State::Ready; }))
            return hasCome() ? Verdict::done()
                             : StageSession::reportedBy(session->lastError(), "lost");
        // An order is dropped without a word when it cannot be written.
        return peer.messages() == 0 ? Verdict::reported()
                                    : Verdict::wrong(QStringLiteral("a message was lost"));
    });
}

Verdict receiveSessionBroadcast()
{
    return receive("18:serialNum=77;commResult=0;dataLength=4;data=YWJjZA==,11",
                   &StageSession::broadcasts);
}

Verdict receiveSessionBeginning()
{
    return receive("5:COM9", &StageSession::beginnings);
}

} // namespace

std::vector<FailingScenario> sessionScenarios()
{
    return {{"session_open_and_close", openAndClose},
            {"session_open_without_server", openWithoutServer},
            {"session_open_and_be_rejected", openAndBeRejected},
            {"session_read", readByReply},
            {"session_write", writeByReply},
            {"session_read_when_closed", readOfClosedSession},
            {"session_abort_reply", abortReply},
            {"session_let_reply_time_out", letReplyTimeOut},
            {"session_close_with_reply", closeWithReply},
            {"session_transfer_read", transferRead},
            {"session_transfer_write", transferWrite},
            {"session_come_back", comeBack},
            {"session_command", orderByCommand},
            {"session_broadcast", receiveSessionBroadcast},
            {"session_beginning", receiveSessionBeginning}};
}
