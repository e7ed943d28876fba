#ifndef SERVERSOCKET_H
#define SERVERSOCKET_H

#include <QLockFile>
#include <QObject>
#include <QString>

class QSocketNotifier;

/// Listens on a local socket, for this user only.
///
/// A lock file beside the socket says who serves it. A socket file that a crash left behind is
/// replaced; a living server's is never touched. It does its own accepting because QLocalServer
/// closes itself when a connection cannot be accepted, and renames over a living server's socket.
class ServerSocket : public QObject
{
    Q_OBJECT

public:
    enum class Outcome { Listening, Occupied, Failed };

    /// A bare name lies in the temporary folder, an absolute path is taken as it is: where
    /// QLocalSocket looks for it.
    explicit ServerSocket(const QString &name);
    /// Stops listening and removes the socket file and the lock.
    ~ServerSocket() override;

    /// Blocks for at most about a second. Unless it listens, `error` says why.
    Outcome listen();

    QString path() const;
    QString error() const;

Q_SIGNALS:
    /// A client has connected; the receiver owns the socket \a descriptor.
    void connected(qintptr descriptor);

private:
    bool lock();
    Outcome clearTheWay();
    bool bindAndListen();
    void accept();
    void pauseAccepting();

    QString m_path;
    QLockFile m_lock;
    int m_descriptor = -1;
    QSocketNotifier *m_notifier = nullptr;
    quint64 m_inode = 0;
    bool m_hasToldOfWaiting = false;
    QString m_error;
};

#endif
