#ifndef AUTOCONNECTVERB_H
#define AUTOCONNECTVERB_H

#include "CommandVerb.h"

/// Switches whether the server connects by itself what appears later.
class AutoConnectVerb : public CommandVerb
{
    Q_OBJECT

public:
    AutoConnectVerb();

    void addOptions(VerbOptions *options) override;

protected:
    bool send() override;
    void taken() override;

private:
    bool isOn() const;

    QString m_word;
};

#endif
