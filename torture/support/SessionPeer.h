#ifndef SESSIONPEER_H
#define SESSIONPEER_H

#include "DeviceSession.h"
#include "PeerClient.h"

/// Such a client on a session.
class SessionPeer : public PeerClient
{
public:
    explicit SessionPeer(int silenceLimitMs);

    bool open() override;
    void request() override;
    bool givesUp() const override;
    bool hasLost() const override;

private:
    const int m_silenceLimitMs;
    bool m_hasLost = false;
    DeviceSession m_session;
};

#endif
