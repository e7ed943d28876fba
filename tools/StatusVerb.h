#ifndef STATUSVERB_H
#define STATUSVERB_H

#include "Verb.h"

/// Says whether a server is there and takes this client. Starts none.
class StatusVerb : public Verb
{
    Q_OBJECT

public:
    StatusVerb();

    void addOptions(VerbOptions *options) override;

protected:
    SessionOptions sessionOptions() const override;
    void ready() override;
    void closed(const SessionError &error) override;

private:
    void report(bool isRegistered);
};

#endif
