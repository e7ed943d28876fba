#ifndef SERVERSTARTVERB_H
#define SERVERSTARTVERB_H

#include "Verb.h"

/// Starts the server process, unless one runs, and waits until it has confirmed the registration.
class ServerStartVerb : public Verb
{
    Q_OBJECT

public:
    ServerStartVerb();

    void addOptions(VerbOptions *options) override;

protected:
    void opening() override;
    void ready() override;

private:
    bool m_hasStarted = false;
};

#endif
