#ifndef CONNECTVERB_H
#define CONNECTVERB_H

#include "CommandVerb.h"

/// Connects controllers, and shows each as it comes up.
class ConnectVerb : public CommandVerb
{
    Q_OBJECT

public:
    ConnectVerb();

    void addOptions(VerbOptions *options) override;
    QString problem() const override;

protected:
    SessionError check() const override;
    bool send() override;
    void taken() override;

private:
    void showConnected();
    void show(const QString &key, const QString &state);
    void giveUp();

    QStringList m_names;
    bool m_isAll = false;
    QStringList m_waiting; ///< what has not come up yet
    QStringList m_upBefore; ///< what was up before the command
    bool m_isTaken = false;
};

#endif
