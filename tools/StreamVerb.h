#ifndef STREAMVERB_H
#define STREAMVERB_H

#include "Verb.h"

/// A verb that goes on until it is interrupted or a limit is reached. When the server goes and
/// comes back, it says so on standard error.
class StreamVerb : public Verb
{
    Q_OBJECT

public:
    using Verb::Verb;

protected:
    /// Adds --count and --for; \a counted says what is counted.
    void addLimits(VerbOptions *options, const QString &counted);
    /// Counts one of them; ends the verb when that was the last.
    void countOne();

    /// Whether it waits for a server that has gone; true unless overridden.
    virtual bool goesOn() const;
    /// The session is ready, for the first time or again.
    virtual void opened() = 0;

    SessionOptions sessionOptions() const override;
    void ready() override;
    void lost(const SessionError &error) override;

private:
    int m_count = 0; ///< 0 for no limit
    int m_seconds = 0; ///< 0 for no limit
    int m_counted = 0;
    bool m_wasReady = false;
};

#endif
