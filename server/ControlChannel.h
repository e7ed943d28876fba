#ifndef CONTROLCHANNEL_H
#define CONTROLCHANNEL_H

#include "CommandReader.h"

#include <QObject>

class DeviceServer;

/// Steers the server apart from the wire: each line is one JSON object with a command, each answer
/// one with what came of it. Hand it connected sockets with `addSteersman`.
class ControlChannel : public QObject
{
    Q_OBJECT

public:
    /// \a server stays the caller's.
    explicit ControlChannel(DeviceServer *server);

    /// Takes commands from the socket \a descriptor, which belongs to the channel from then on.
    void addSteersman(qintptr descriptor);

private:
    QByteArray answerTo(const QByteArray &line);

    DeviceServer *m_server;
    CommandReader m_reader;
};

#endif
