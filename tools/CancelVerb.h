#ifndef CANCELVERB_H
#define CANCELVERB_H

#include "CommandVerb.h"

/// Has the server drop requests that it has not answered.
class CancelVerb : public CommandVerb
{
    Q_OBJECT

public:
    CancelVerb();

    void addOptions(VerbOptions *options) override;
    QString problem() const override;

protected:
    SessionError check() const override;
    bool send() override;
    void taken() override;

private:
    QString m_key;
    bool m_isAll = false;
};

#endif
