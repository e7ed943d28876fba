#ifndef SESSIONCORE_H
#define SESSIONCORE_H

#include "DeviceSession.h"
#include "Guarded.h"
#include "Later.h"
#include "OutstandingReplies.h"
#include "SendPacer.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

class DeviceReplyPrivate;
class KVTServerMessageOldProxy;
class PackageBase;
class ServerLink;

/// What a session does: its states, its requests and commands. Its calls come from the session, on
/// the session's thread.
class SessionCore : public QObject
{
    Q_OBJECT

public:
    using State = DeviceSession::State;

    explicit SessionCore(DeviceSession *session);
    ~SessionCore() override;

    bool open(const SessionOptions &options);
    void close();

    State state() const;
    const SessionError &lastError() const;
    QString serverVersion() const;
    const QMap<QString, EquipmentInfo> &equipmentTable() const;

    /// What \a call returns, or false with `lastError` set when memory runs out.
    template <typename Call>
    bool attemptTo(const Call &call)
    {
        bool isDone = false;
        if (!guarded([&] { isDone = call(); }))
            m_lastError = SessionError::outOfMemory();
        return isDone;
    }

    /// Null when memory runs out, with `lastError` set.
    DeviceReply *read(const EquipmentAddress &address, int length, int timeoutMs);
    DeviceReply *write(const EquipmentAddress &address, const QByteArray &data, int timeoutMs);

    /// False when not ready.
    template <typename Operation>
    bool command(const Operation &operation)
    {
        return attemptTo([&] { return queueCommand(operation); });
    }
    /// Remembers why a call was refused; false.
    bool refuse(const SessionError &error);
    /// The same with \a sentence in the user's language.
    bool refuse(SessionError::Code code, const char *sentence);

private:
    /// A slot of the link or a timer. When memory runs out in it the session gives its connection
    /// up, as if the server had gone.
    template <typename... Args>
    auto guardedSlot(void (SessionCore::*slot)(Args...))
    {
        return [self = QPointer<SessionCore>(this), slot](Args... args) {
            if (!guarded([&] { (self->*slot)(args...); }) && self)
                self->giveUpLater();
        };
    }
    void giveUpLater();
    void giveUp();

    // Opening and coming back
    void attempt();
    std::shared_ptr<ServerLink> newLink();
    void dropLink();
    void goOnUnreached();
    bool startServer();
    void retryLater();
    QString startTimeoutText() const;
    void beginRegistration();
    void onConfirmed();
    void onRefused(bool withError);
    void onRegistrationTimeout();
    void onLost(const QString &reason);
    void loseAttempt(const QString &reason);
    void loseServer(const SessionError &error);
    void comeBack();
    void fail(const SessionError &error);
    void setState(State state);
    void adoptTable();
    /// Has \a emission called from the event loop, in its turn; left out when memory runs out.
    template <typename Emission>
    void announce(const Emission &emission)
    {
        Later::call(this, emission);
    }
    template <typename Emission>
    void announceWhenReady(const Emission &emission)
    {
        if (m_state == State::Ready)
            announce(emission);
    }

    // Requests
    using PackageMaker = std::function<std::unique_ptr<PackageBase>()>;

    SessionError problemOf(const EquipmentAddress &address, qint64 length, int timeoutMs) const;
    SessionError notReady() const;
    DeviceReply *request(const EquipmentAddress &address, int timeoutMs,
                         const SessionError &problem, const PackageMaker &makePackage);
    void send(DeviceReplyPrivate *reply, int timeoutMs, const PackageMaker &makePackage);
    bool queueCommand(const std::function<bool(KVTServerMessageOldProxy *)> &operation);
    void onAnswered(quint64 serialNumber, TarnEnum::CommResults result, const QByteArray &data);

    DeviceSession *const m_session;
    SessionOptions m_options;
    State m_state = State::Closed;
    SessionError m_lastError;
    QString m_serverVersion;
    QMap<QString, EquipmentInfo> m_equipmentTable;

    std::shared_ptr<ServerLink> m_link;
    QTimer m_attempt;
    QTimer m_registrationLimit;
    QDeadlineTimer m_startLimit;
    int m_delayMs = 0; // before the next attempt
    bool m_hasLaunched = false;
    bool m_isComingBack = false; // was ready before

    OutstandingReplies m_replies;
    SendPacer m_pacer;
};

#endif
