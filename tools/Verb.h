#ifndef VERB_H
#define VERB_H

#include "CommonOptions.h"
#include "DeviceSession.h"
#include "ExitCode.h"
#include "StandardOutput.h"

#include <QObject>

#include <memory>

class TerminationSignals;
class VerbOptions;

/// One thing the program does: opens a session, acts when it is ready, and ends with an exit code.
///
/// A verb is made for the command line to be read, and at most one of them runs, once.
class Verb : public QObject
{
    Q_OBJECT

public:
    /// \a name as typed, with a blank where a verb stands below another word.
    Verb(const QString &name, const QString &description);
    ~Verb() override;

    QString name() const;
    QString description() const;

    /// Adds its own options.
    virtual void addOptions(VerbOptions *options) = 0;
    /// What is wrong with the options taken together; empty when nothing is.
    virtual QString problem() const;

    CommonOptions *common();

    /// Gets what it needs from files and standard input, while SIGINT still ends the program. What
    /// failed; empty when nothing did.
    virtual QString prepare();

    /// Runs the event loop until the verb has done its work, failed, or been interrupted by
    /// \a signals.
    ExitCode run(const TerminationSignals &signals);

protected:
    /// What the session is opened with.
    virtual SessionOptions sessionOptions() const;
    /// The session is about to be opened.
    virtual void opening();
    /// The session has become ready; again after each reconnection.
    virtual void ready() = 0;
    /// The session's server has gone. Ends the verb unless overridden.
    virtual void lost(const SessionError &error);
    /// The session cannot be opened, or has ended for good. Ends the verb unless overridden.
    virtual void closed(const SessionError &error);
    /// SIGINT or SIGTERM. Ends the verb at once unless overridden.
    virtual void interrupted();

    DeviceSession *session() const;
    StandardOutput *output();
    bool isJson() const;
    /// `NoEquipment` when no equipment has that key.
    SessionError keyError(const QString &key) const;

    /// Ends the verb, once control is back in the event loop. Only the first call counts.
    void finish(ExitCode code);
    void fail(ExitCode code, const QString &reason);
    void fail(const SessionError &error);
    bool isFinished() const;

    /// Says what was done, where the data is not the answer already.
    void confirm(const QString &text, const QJsonObject &object);

private:
    void start();
    void followState(DeviceSession::State state);

    const QString m_name;
    const QString m_description;
    CommonOptions m_common;
    // Both from `run` on.
    std::unique_ptr<StandardOutput> m_output;
    std::unique_ptr<DeviceSession> m_session;
    ExitCode m_code = ExitCode::Done;
    bool m_isFinished = false;
};

#endif
