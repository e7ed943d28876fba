// What calls the application back, in SessionCell.
#include "SessionCell.h"

#include "EventWait.h"
#include "SessionFixture.h"

namespace {

const QString Key = QStringLiteral("COM1");

} // namespace

const QList<SessionCell::NamedStep> &SessionCell::allOccasions()
{
    static const QList<NamedStep> occasions{
        {"the events while it opens", &SessionCell::eventsWhileOpening},
        {"stateChanged to Connecting", &SessionCell::enterConnecting},
        {"stateChanged to Registering", &SessionCell::enterRegistering},
        {"stateChanged to Ready", &SessionCell::enterReady},
        {"stateChanged to Lost", &SessionCell::enterLost},
        {"stateChanged to Closed", &SessionCell::enterClosed},
        {"tableChanged", &SessionCell::changeTable},
        {"finished of a reply", &SessionCell::finishReply},
        {"finished of a reply that was refused at once", &SessionCell::finishRefusedReply},
        {"finished of a reply that the device denied", &SessionCell::finishDeniedReply},
        {"finished of a reply that timed out", &SessionCell::finishTimedOutReply},
        {"finished of a reply that was aborted", &SessionCell::finishAbortedReply},
        {"destroyed of a reply", &SessionCell::destroyReply},
        {"progress of a transfer", &SessionCell::progress},
        {"finished of a transfer", &SessionCell::finishTransfer},
        {"finished of a transfer that failed", &SessionCell::failTransfer},
        {"destroyed of a transfer", &SessionCell::destroyTransfer},
        {"broadcastReceived", &SessionCell::broadcast},
        {"connectionBeginning", &SessionCell::beginConnecting},
        {"allControllersConnecting", &SessionCell::beginConnectingAll},
        {"allControllersConnected", &SessionCell::completeConnectingAll},
        {"errorOccurred for a loss", &SessionCell::errorOfLoss},
        {"errorOccurred for a refusal", &SessionCell::errorOfRefusal},
        {"destroyed of the session", &SessionCell::destroySession},
    };
    return occasions;
}

template <typename Sender, typename Signal>
void SessionCell::connectTo(Sender *sender, Signal signal)
{
    connect(sender, signal, this, [this] { act(); });
}

void SessionCell::actIn(State state)
{
    connect(m_session, &DeviceSession::stateChanged, this, [this, state](State is) {
        if (is == state)
            act();
    });
}

void SessionCell::eventsWhileOpening()
{
    startRequests(); // refused, which is told from the event loop
    m_session->open(SessionFixture::options());
    QTimer::singleShot(0, this, [this] { act(); });
}

void SessionCell::enterConnecting()
{
    startRequests();
    actIn(State::Connecting);
    m_session->open(SessionFixture::options());
}

void SessionCell::enterRegistering()
{
    startRequests();
    actIn(State::Registering);
    m_session->open(SessionFixture::options());
}

void SessionCell::enterReady()
{
    startRequests();
    actIn(State::Ready);
    m_session->open(SessionFixture::options());
}

void SessionCell::changeTable()
{
    startRequests();
    connectTo(m_session.data(), &DeviceSession::tableChanged);
    m_session->open(SessionFixture::options());
}

void SessionCell::finishReply()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_reply.data(), &DeviceReply::finished);
}

void SessionCell::finishRefusedReply()
{
    bringUp(m_session);
    startRequests();
    m_reply = watched(m_session->read({QString(), 0}, 4));
    connectTo(m_reply.data(), &DeviceReply::finished);
}

void SessionCell::finishDeniedReply()
{
    bringUp(m_session);
    startRequests();
    m_reply = watched(m_session->read({QStringLiteral("COM9"), 0}, 4));
    connectTo(m_reply.data(), &DeviceReply::finished);
}

void SessionCell::finishTimedOutReply()
{
    bringUp(m_session);
    startRequests();
    m_reply = watched(m_session->read({Key, 0}, 4, 1));
    connectTo(m_reply.data(), &DeviceReply::finished);
}

void SessionCell::finishAbortedReply()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_reply.data(), &DeviceReply::finished);
    m_reply->abort();
}

void SessionCell::destroyReply()
{
    bringUp(m_session);
    startRequests();
    DeviceReply *const reply = watched(m_session->read({Key, 0}, 4));
    connectTo(reply, &QObject::destroyed);
    delete reply;
}

void SessionCell::progress()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_transfer.data(), &DeviceTransfer::progress);
}

void SessionCell::finishTransfer()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_transfer.data(), &DeviceTransfer::finished);
}

void SessionCell::failTransfer()
{
    finishTransfer();
    m_server.control.tell(R"({"do":"result","key":"COM1","result":2})");
}

void SessionCell::destroyTransfer()
{
    bringUp(m_session);
    startRequests();
    auto *const transfer = new DeviceTransfer(m_session, m_session);
    transfer->read({Key, 0}, 1000);
    connectTo(transfer, &QObject::destroyed);
    delete transfer;
}

void SessionCell::broadcast()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &DeviceSession::broadcastReceived);
    m_session->sendOrder("identify");
}

void SessionCell::beginConnecting()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &DeviceSession::connectionBeginning);
    m_session->connectController(Key);
}

void SessionCell::beginConnectingAll()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &DeviceSession::allControllersConnecting);
    m_session->connectAllControllers();
}

void SessionCell::completeConnectingAll()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &DeviceSession::allControllersConnected);
    m_session->connectAllControllers();
}

void SessionCell::errorOfLoss()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &DeviceSession::errorOccurred);
    killServer();
}

void SessionCell::enterLost()
{
    bringUp(m_session);
    startRequests();
    actIn(State::Lost);
    killServer();
}

void SessionCell::errorOfRefusal()
{
    startRequests();
    connectTo(m_session.data(), &DeviceSession::errorOccurred);
    m_server.control.tell(R"({"do":"register","answer":"reject"})");
    m_session->open(SessionFixture::options());
}

void SessionCell::enterClosed()
{
    bringUp(m_session);
    startRequests();
    actIn(State::Closed);
    m_session->close();
}

void SessionCell::destroySession()
{
    bringUp(m_session);
    startRequests();
    connectTo(m_session.data(), &QObject::destroyed);
    delete m_session;
}
