#ifndef ORDERVERB_H
#define ORDERVERB_H

#include "CommandVerb.h"

/// Sends an order of the server's own language.
class OrderVerb : public CommandVerb
{
    Q_OBJECT

public:
    OrderVerb();

    void addOptions(VerbOptions *options) override;
    QString problem() const override;

protected:
    bool send() override;
    void taken() override;

private:
    QString order() const;

    QStringList m_words;
};

#endif
