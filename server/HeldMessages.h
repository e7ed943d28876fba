#ifndef HELDMESSAGES_H
#define HELDMESSAGES_H

#include "FaultyFrame.h"

#include <QObject>
#include <QTimer>

/// Messages that are kept back until there are enough of them, or the first has waited long enough.
class HeldMessages : public QObject
{
    Q_OBJECT

public:
    using Messages = QVector<QVector<WirePiece>>;

    HeldMessages();

    /// \a fault says how many and how long.
    void add(const QVector<WirePiece> &message, const Fault &fault);

Q_SIGNALS:
    /// In the order in which they came. They are kept back no longer.
    void complete(const HeldMessages::Messages &messages);

private:
    void letGo();

    Messages m_messages;
    QTimer m_limit;
};

#endif
