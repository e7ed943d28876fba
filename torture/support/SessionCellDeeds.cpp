// What the application does when it is called back, in SessionCell. What it would do it to may be
// gone by then.
#include "SessionCell.h"

#include "SessionFixture.h"

#include <QEventLoop>
#include <QTimer>

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int LoopMs = 60; // several of the proxy's ticks
constexpr int ALot = 20;

void runFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

const QList<SessionCell::NamedStep> &SessionCell::allDeeds()
{
    static const QList<NamedStep> deeds{
        {"read and write", &SessionCell::readAndWrite},
        {"read a lot", &SessionCell::readALot},
        {"read wrongly", &SessionCell::readWrongly},
        {"transfer more", &SessionCell::transferMore},
        {"give every command", &SessionCell::command},
        {"abort everything", &SessionCell::abortAll},
        {"delete the reply", &SessionCell::deleteReply},
        {"delete the reply later", &SessionCell::deleteReplyLater},
        {"delete the transfer", &SessionCell::deleteTransfer},
        {"delete the transfer later", &SessionCell::deleteTransferLater},
        {"close", &SessionCell::close},
        {"close and open", &SessionCell::closeAndOpen},
        {"open and close again and again", &SessionCell::openAndCloseAgainAndAgain},
        {"open while open", &SessionCell::openWhileOpen},
        {"ask everything", &SessionCell::askEverything},
        {"run an event loop", &SessionCell::runLoop},
        {"run an event loop that closes", &SessionCell::runLoopThatCloses},
        {"run an event loop that deletes the session", &SessionCell::runLoopThatDeletes},
        {"use another session", &SessionCell::useAnotherSession},
        {"close the other session", &SessionCell::closeTheOther},
        {"delete the session", &SessionCell::deleteSession},
        {"delete the session later", &SessionCell::deleteSessionLater},
        {"disconnect", &SessionCell::disconnectAll},
        {"take the reply out of the session", &SessionCell::moveReplyOut},
        {"kill the server", &SessionCell::killTheServer},
    };
    return deeds;
}

void SessionCell::readAndWrite()
{
    if (!m_session)
        return;
    watched(m_session->read({Key, 0}, 4));
    watched(m_session->write({Key, 16}, "y"));
}

void SessionCell::readALot()
{
    for (int i = 0; i < ALot; ++i)
        readAndWrite();
}

void SessionCell::readWrongly()
{
    if (!m_session)
        return;
    watched(m_session->read({QString(), 0}, 4));
    watched(m_session->read({Key, 0}, 0));
    watched(m_session->write({Key, 0xFFFFFFFF}, "yy"));
}

void SessionCell::transferMore()
{
    if (!m_session)
        return;
    auto *const transfer = new DeviceTransfer(m_session, m_session);
    transfer->setVerifying(true);
    transfer->write({Key, 0}, QByteArray(500, 'z'));
}

void SessionCell::command()
{
    if (!m_session)
        return;
    m_session->connectController(Key);
    m_session->connectAllControllers();
    m_session->cancelRequests(Key);
    m_session->cancelAllRequests();
    m_session->sendOrder("identify");
    m_session->setAutoConnect(false);
}

void SessionCell::abortAll()
{
    if (m_reply)
        m_reply->abort();
    if (m_transfer)
        m_transfer->abort();
}

void SessionCell::deleteReply()
{
    delete m_reply;
}

void SessionCell::deleteReplyLater()
{
    if (m_reply)
        m_reply->deleteLater();
}

void SessionCell::deleteTransfer()
{
    delete m_transfer;
}

void SessionCell::deleteTransferLater()
{
    if (m_transfer)
        m_transfer->deleteLater();
}

void SessionCell::close()
{
    if (m_session)
        m_session->close();
}

void SessionCell::closeAndOpen()
{
    if (!m_session)
        return;
    m_session->close();
    m_session->open(SessionFixture::options());
}

void SessionCell::openAndCloseAgainAndAgain()
{
    for (int i = 0; i < 3; ++i)
        closeAndOpen();
}

void SessionCell::openWhileOpen()
{
    if (m_session)
        m_session->open(SessionFixture::options());
}

void SessionCell::askEverything()
{
    if (m_session) {
        m_session->state();
        m_session->lastError();
        m_session->serverVersion();
        m_session->equipmentTable();
    }
    if (m_reply) {
        m_reply->isFinished();
        m_reply->sessionError();
        m_reply->data();
        m_reply->elapsed();
        m_reply->serialNumber();
    }
    if (m_transfer) {
        m_transfer->isFinished();
        m_transfer->sessionError();
        m_transfer->data();
        m_transfer->verifiedBytes();
    }
}

void SessionCell::runLoop()
{
    readAndWrite();
    runFor(LoopMs);
}

void SessionCell::runLoopThatCloses()
{
    QTimer::singleShot(0, this, [this] { close(); });
    runFor(LoopMs);
}

void SessionCell::runLoopThatDeletes()
{
    QTimer::singleShot(0, this, [this] { delete m_session; });
    runFor(LoopMs);
}

void SessionCell::useAnotherSession()
{
    DeviceSession another;
    another.open(SessionFixture::options());
    another.read({Key, 0}, 4);
    runFor(LoopMs);
}

void SessionCell::closeTheOther()
{
    m_other.close();
}

void SessionCell::deleteSession()
{
    delete m_session;
}

void SessionCell::deleteSessionLater()
{
    if (m_session)
        m_session->deleteLater();
}

void SessionCell::disconnectAll()
{
    if (m_session)
        m_session->disconnect(this);
}

void SessionCell::moveReplyOut()
{
    if (m_reply && m_session)
        m_reply->setParent(this);
}

void SessionCell::killTheServer()
{
    killServer();
}
