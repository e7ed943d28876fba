#ifndef SESSIONCELL_H
#define SESSIONCELL_H

#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "ReentrancyCell.h"
#include "SteeredServer.h"

#include <QHash>
#include <QPointer>

/// The signals of a session, its replies and transfers, and what slots do there: anything is
/// allowed. A second session of the application looks on.
class SessionCell : public ReentrancyCell
{
public:
    static QStringList occasions();
    static QStringList deeds();

    ~SessionCell() override;

    QString play(const QString &occasion, const QString &deed) override;

protected:
    void carryOut() override;

private:
    using State = DeviceSession::State;
    using Step = void (SessionCell::*)();
    struct NamedStep
    {
        const char *name;
        Step step;
    };
    static const QList<NamedStep> &allOccasions();
    static const QList<NamedStep> &allDeeds();

    bool bringUp(DeviceSession *session);
    bool isUsable(DeviceSession *session);
    QString problemOfEnds() const;
    bool recover();

    template <typename Sender, typename Signal>
    void connectTo(Sender *sender, Signal signal);
    void actIn(State state);
    void startRequests();
    DeviceReply *watched(DeviceReply *reply);
    void killServer();

    // Occasions
    void eventsWhileOpening();
    void enterConnecting();
    void enterRegistering();
    void enterReady();
    void changeTable();
    void finishReply();
    void finishRefusedReply();
    void finishDeniedReply();
    void finishTimedOutReply();
    void finishAbortedReply();
    void destroyReply();
    void progress();
    void finishTransfer();
    void failTransfer();
    void destroyTransfer();
    void broadcast();
    void beginConnecting();
    void beginConnectingAll();
    void completeConnectingAll();
    void errorOfLoss();
    void enterLost();
    void errorOfRefusal();
    void enterClosed();
    void destroySession();

    // Deeds
    void readAndWrite();
    void readALot();
    void readWrongly();
    void transferMore();
    void command();
    void abortAll();
    void deleteReply();
    void deleteReplyLater();
    void deleteTransfer();
    void deleteTransferLater();
    void close();
    void closeAndOpen();
    void openAndCloseAgainAndAgain();
    void openWhileOpen();
    void askEverything();
    void runLoop();
    void runLoopThatCloses();
    void runLoopThatDeletes();
    void useAnotherSession();
    void closeTheOther();
    void deleteSession();
    void deleteSessionLater();
    void disconnectAll();
    void moveReplyOut();
    void killTheServer();

    SteeredServer m_server;
    bool m_isServerGone = false;
    DeviceSession m_other;
    QPointer<DeviceSession> m_session;
    QPointer<DeviceReply> m_reply;
    QPointer<DeviceTransfer> m_transfer;
    QHash<const QObject *, int> m_ends; // of replies and transfers that stand
    Step m_deed = nullptr;
};

#endif
