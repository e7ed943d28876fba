#include "SessionFixture.h"
#include "TestMain.h"

#include <QEventLoop>
#include <QMetaEnum>
#include <QPointer>
#include <QTimer>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int TransferBytes = 1000;
constexpr int ChunkBytes = 100;

} // namespace

/// Slots that do the worst they can, for every signal of a session, a reply and a transfer, while a
/// second session of the application looks on.
class tst_SessionHandlers : public QObject
{
    Q_OBJECT

public:
    enum class Signal {
        Pass, // no signal: from the event loop while the session connects
        Connecting,
        Registering,
        Ready,
        Table,
        ReplyFinished,
        Progress,
        TransferFinished,
        Broadcast,
        ConnectingOne,
        ConnectingAll,
        ConnectedAll,
        Error,
        Lost,
        Closed,
    };
    Q_ENUM(Signal)
    enum class Deed {
        DeleteReply,
        DeleteTransfer,
        Abort,
        Close,
        Reopen,
        DeleteSession,
        DeleteSessionLater,
        RunALoop,
        SendAnother,
    };
    Q_ENUM(Deed)

private Q_SLOTS:
    void initTestCase();
    void survives_data();
    void survives();

private:
    void arm(Signal signal, Deed deed);
    void raise(Signal signal);
    void act(Deed deed);
    void startRequests();
    void compareEnds(bool isTransferDeleted);
    void recover(bool isServerKilled);
    static void readOnce(DeviceSession *session);

    ServerProcess m_server;
    DeviceSession m_other;
    QPointer<DeviceSession> m_session;
    QPointer<DeviceReply> m_reply;
    QPointer<DeviceTransfer> m_transfer;
    QPointer<DeviceReply> m_another;
    int m_replyEnds = 0;
    int m_transferEnds = 0;
    bool m_hasActed = false;
};

void tst_SessionHandlers::initTestCase()
{
    QVERIFY(m_server.start());
    QVERIFY(m_other.open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(m_other.state(), State::Ready, WaitLimitMs);
}

void tst_SessionHandlers::survives_data()
{
    QTest::addColumn<Signal>("signal");
    QTest::addColumn<Deed>("deed");
    const auto signalNames = QMetaEnum::fromType<Signal>();
    const auto deeds = QMetaEnum::fromType<Deed>();
    for (int signal = 0; signal < signalNames.keyCount(); ++signal) {
        for (int deed = 0; deed < deeds.keyCount(); ++deed)
            QTest::addRow("%s: %s", signalNames.key(signal), deeds.key(deed))
                << static_cast<Signal>(signalNames.value(signal))
                << static_cast<Deed>(deeds.value(deed));
    }
}

void tst_SessionHandlers::act(Deed deed)
{
    if (m_hasActed)
        return;
    m_hasActed = true;
    switch (deed) {
    case Deed::DeleteReply:
        delete m_reply;
        break;
    case Deed::DeleteTransfer:
        delete m_transfer;
        break;
    case Deed::Abort:
        m_reply->abort();
        m_transfer->abort();
        break;
    case Deed::Close:
        m_session->close();
        break;
    case Deed::Reopen:
        m_session->close();
        QVERIFY(m_session->open(SessionFixture::options()));
        break;
    case Deed::DeleteSession:
        delete m_session;
        break;
    case Deed::DeleteSessionLater:
        m_session->deleteLater();
        break;
    case Deed::RunALoop: {
        QEventLoop loop;
        const QScopedPointer<DeviceReply> marker(m_other.read({Key, 0}, 4));
        connect(marker.data(), &DeviceReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        break;
    }
    case Deed::SendAnother:
        m_another = m_session->read({Key, 0}, 4);
        break;
    }
}

void tst_SessionHandlers::arm(Signal signal, Deed deed)
{
    const auto doIt = [this, deed] { act(deed); };
    const auto onState = [&](State state) {
        connect(m_session, &DeviceSession::stateChanged, this, [doIt, state](State is) {
            if (is == state)
                doIt();
        });
    };
    switch (signal) {
    case Signal::Pass:
        break;
    case Signal::Connecting:
        return onState(State::Connecting);
    case Signal::Registering:
        return onState(State::Registering);
    case Signal::Ready:
        return onState(State::Ready);
    case Signal::Lost:
        return onState(State::Lost);
    case Signal::Closed:
        return onState(State::Closed);
    case Signal::Table:
        connect(m_session, &DeviceSession::tableChanged, this, doIt);
        break;
    case Signal::ReplyFinished:
        connect(m_reply, &DeviceReply::finished, this, doIt);
        break;
    case Signal::Progress:
        connect(m_transfer, &DeviceTransfer::progress, this, doIt);
        break;
    case Signal::TransferFinished:
        connect(m_transfer, &DeviceTransfer::finished, this, doIt);
        break;
    case Signal::Broadcast:
        connect(m_session, &DeviceSession::broadcastReceived, this, doIt);
        break;
    case Signal::ConnectingOne:
        connect(m_session, &DeviceSession::connectionBeginning, this, doIt);
        break;
    case Signal::ConnectingAll:
        connect(m_session, &DeviceSession::allControllersConnecting, this, doIt);
        break;
    case Signal::ConnectedAll:
        connect(m_session, &DeviceSession::allControllersConnected, this, doIt);
        break;
    case Signal::Error:
        connect(m_session, &DeviceSession::errorOccurred, this, doIt);
        break;
    }
}

void tst_SessionHandlers::raise(Signal signal)
{
    switch (signal) {
    case Signal::Broadcast:
        QVERIFY(m_session->sendOrder("identify"));
        break;
    case Signal::ConnectingOne:
    case Signal::ConnectingAll:
    case Signal::ConnectedAll:
        QVERIFY(m_session->connectAllControllers());
        break;
    case Signal::Error:
    case Signal::Lost:
        m_server.kill();
        break;
    case Signal::Closed:
        m_session->close();
        break;
    default:
        break; // comes by itself
    }
}

void tst_SessionHandlers::startRequests()
{
    m_reply = m_session->read({Key, 0}, 4);
    connect(m_reply, &DeviceReply::finished, this, [this] { ++m_replyEnds; });
    m_transfer = new DeviceTransfer(m_session, this);
    m_transfer->setChunkBytes(ChunkBytes);
    connect(m_transfer, &DeviceTransfer::finished, this, [this] { ++m_transferEnds; });
    m_transfer->read({Key, 0}, TransferBytes);
}

void tst_SessionHandlers::survives()
{
    QFETCH(Signal, signal);
    QFETCH(Deed, deed);
    m_hasActed = false;
    m_replyEnds = 0;
    m_transferEnds = 0;
    m_session = new DeviceSession(this);
    if (signal <= Signal::Table) {
        startRequests(); // refused, which is told from the event loop
        arm(signal, deed);
        QVERIFY(m_session->open(SessionFixture::options()));
        if (signal == Signal::Pass)
            QTimer::singleShot(0, this, [this, deed] { act(deed); });
    } else {
        QVERIFY(m_session->open(SessionFixture::options()));
        QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
        startRequests();
        arm(signal, deed);
        raise(signal);
    }
    QTRY_VERIFY_WITH_TIMEOUT(m_hasActed, WaitLimitMs);
    compareEnds(deed == Deed::DeleteTransfer);
    recover(signal == Signal::Error || signal == Signal::Lost);
    readOnce(&m_other);
}

// Whatever still lives ends once.
void tst_SessionHandlers::compareEnds(bool isTransferDeleted)
{
    QTRY_VERIFY_WITH_TIMEOUT(!m_reply || m_replyEnds > 0, WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!m_another || m_another->isFinished(), WaitLimitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!m_transfer || m_transferEnds > 0, WaitLimitMs);
    QVERIFY(m_transfer || isTransferDeleted);
    QVERIFY(m_replyEnds <= 1);
    QVERIFY(m_transferEnds <= 1);
    delete m_transfer;
    if (!m_session)
        QVERIFY(m_reply.isNull() && m_another.isNull());
}

// The server is there again, and the session still works.
void tst_SessionHandlers::recover(bool isServerKilled)
{
    if (isServerKilled) {
        QVERIFY(m_server.waitForEnd());
        QTRY_VERIFY_WITH_TIMEOUT(m_other.state() != State::Ready, WaitLimitMs);
        QVERIFY(m_server.start());
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_other.state(), State::Ready, WaitLimitMs);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!m_session)
        return;
    if (m_session->state() == State::Closed)
        QVERIFY(m_session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    readOnce(m_session);
    delete m_session;
}

void tst_SessionHandlers::readOnce(DeviceSession *session)
{
    const QScopedPointer<DeviceReply> reply(session->read({Key, 0}, 4));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::None);
}

KSPROXY_TEST_MAIN(tst_SessionHandlers)
#include "tst_SessionHandlers.moc"
