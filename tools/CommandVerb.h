#ifndef COMMANDVERB_H
#define COMMANDVERB_H

#include "Verb.h"

/// A verb that sends commands, which the server does not answer: so a request follows them, whose
/// reply says that the server has taken the commands before it.
class CommandVerb : public Verb
{
    Q_OBJECT

public:
    using Verb::Verb;

protected:
    /// What stands against the commands; no error unless overridden.
    virtual SessionError check() const;
    /// Sends them; false when the session refuses one.
    virtual bool send() = 0;
    /// The server has taken them.
    virtual void taken() = 0;

    void ready() override;

private:
    void follow(DeviceReply *reply);
};

#endif
