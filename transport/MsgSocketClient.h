#ifndef MSGSOCKETCLIENT_H
#define MSGSOCKETCLIENT_H

#include "FrameReader.h"

#include <QObject>
#include <QPointer>

class QLocalSocket;

/// The library's one connection to the device server: connects, writes frames and cuts what arrives
/// back into frames. It knows nothing of what a frame holds.
///
/// Connect `receivedInfos`, then call `connectServer`. Lives on the thread that made it; all
/// operations must be called there. A lost server shows only as `SendData` returning false: no
/// signal of the socket but `readyRead` is watched.
class MsgSocketClient : public QObject
{
    Q_OBJECT

public:
    MsgSocketClient();
    /// Disconnects; what was not yet written is lost.
    ~MsgSocketClient() override;

    /// Connects to the local socket "tarnSver"; true when connected. Blocks for at most 500 ms. A
    /// socket that is open counts as connected even if the server has gone. Logs, at debug level,
    /// "connect server ok" or "connect server error!" with the socket's error text.
    bool connectServer();

    /// Closes the connection and drops outgoing bytes; true when it is closed, false when there was
    /// none. Blocks for at most 30 s. Bytes of an incomplete frame are kept and joined to the first
    /// bytes of the next connection. Logs nothing.
    bool disconnectFromServer();

    /// Writes one frame with \a data; true when the socket took it. It leaves when control returns
    /// to the event loop. Logs nothing.
    bool SendData(const QByteArray &data);

    /// For one that nobody will ever use again: the connection stays, but what arrives is thrown
    /// away, and of a connection that has gone nothing is kept.
    void abandon();

Q_SIGNALS:
    /// One complete frame has arrived. Emitted from the socket's own notification, once per frame
    /// in stream order; the next frame is cut when all receivers have returned.
    /// By reference only to spare a copy of the handle for each frame: the signature that strings
    /// and meta-object know is receivedInfos(QByteArray).
    void receivedInfos(const QByteArray &infos);

public Q_SLOTS:
    /// Reads what the socket has. For the socket only: a direct call does nothing.
    void readyRead();

private:
    friend class TestAccess;

    bool readPiece();
    bool openConnection();
    bool readAll();
    bool emitCompleteFrames();

    QLocalSocket *m_socket = nullptr;
    FrameReader m_reader;
    const QPointer<MsgSocketClient> m_self{this}; // with it, further ones need no memory
    int m_readDepth = 0; // calls of readyRead that have not returned
    bool m_isAbandoned = false;
};

#endif
