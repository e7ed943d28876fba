#ifndef PEERCLIENT_H
#define PEERCLIENT_H

#include "Spread.h"

#include <QtGlobal>

/// A client of a server that does it no good: makes small reads and keeps account of them.
class PeerClient
{
public:
    PeerClient() = default;
    virtual ~PeerClient() = default;

    /// Waits until the server has confirmed the registration; false when it does not.
    virtual bool open() = 0;
    /// Makes one read, if that is possible now. Its address and time-out do not matter.
    virtual void request() = 0;
    /// Whether reads that are never answered end all the same.
    virtual bool givesUp() const
    {
        return false;
    }

    /// Whether the server counts as lost, or did once.
    virtual bool hasLost() const
    {
        return false;
    }

    int made() const
    {
        return m_made;
    }

    /// Reads that have ended in whatever way.
    int ended() const
    {
        return m_ended;
    }

    /// How long those took that brought what was asked for.
    const Spread &answerMs() const
    {
        return m_answerMs;
    }

protected:
    int m_made = 0;
    int m_ended = 0;
    Spread m_answerMs;

private:
    Q_DISABLE_COPY_MOVE(PeerClient)
};

#endif
