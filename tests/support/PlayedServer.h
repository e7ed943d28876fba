#ifndef PLAYEDSERVER_H
#define PLAYEDSERVER_H

#include "LocalPeer.h"

/// A server whose every answer the test gives, for what the real one never does. It has one
/// controller, "COM1", that is not connected.
class PlayedServer
{
public:
    bool isListening() const;

    /// Whether the client asks to be registered.
    bool isAsked() const;
    void confirm();

    /// Whether a write or a read request for "COM1" has arrived.
    bool hasWrite() const;
    bool hasRead() const;
    /// Answer it with a device's result and, in Base64, data.
    void answerWrite(int result);
    void answerRead(int result, const QByteArray &data);

private:
    QByteArray request(int id) const;

    LocalPeer m_peer;
};

#endif
