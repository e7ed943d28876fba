#ifndef LISTVERB_H
#define LISTVERB_H

#include "StreamVerb.h"

/// Shows the equipment table, once or after each change.
class ListVerb : public StreamVerb
{
    Q_OBJECT

public:
    ListVerb();

    void addOptions(VerbOptions *options) override;

protected:
    bool goesOn() const override;
    void opened() override;

private:
    void show();
    QByteArray rendered() const;

    bool m_isKeysOnly = false;
    bool m_isWatching = false;
    bool m_isShown = false;
    QByteArray m_shown;
};

#endif
