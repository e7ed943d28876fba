#ifndef WATCHVERB_H
#define WATCHVERB_H

#include "StreamVerb.h"

/// Shows every notification and broadcast as it arrives.
class WatchVerb : public StreamVerb
{
    Q_OBJECT

public:
    WatchVerb();

    void addOptions(VerbOptions *options) override;

protected:
    void opening() override;
    void opened() override;

private:
    void show(const QString &event, const QString &text, QJsonObject object = QJsonObject());
    void showTable(const QStringList &added, const QStringList &removed,
                   const QStringList &changed);
    void showBroadcast(const DeviceBroadcast &broadcast);

    bool m_isOpened = false;
    QStringList m_firstTable; ///< keys that the registration brought: no event
};

#endif
