#ifndef CONTROLCLIENT_H
#define CONTROLCLIENT_H

#include <QByteArray>
#include <QJsonObject>
#include <QLocalSocket>

/// Steers a simulated server through its control channel.
class ControlClient
{
public:
    ControlClient() = default;

    /// \a name as `--control` takes it.
    bool connectToServer(const QString &name);
    bool isConnected() const;

    /// Sends one command and waits for its answer; empty when none comes.
    QJsonObject call(const QJsonObject &command);
    QJsonObject call(const QByteArray &json);
    /// Whether the answer to the command is that all is well.
    bool tell(const QByteArray &json);

    /// Writes \a bytes as they stand.
    void sendBytes(const QByteArray &bytes);
    /// Waits for the next answer; empty when none comes.
    QJsonObject nextAnswer();

    QLocalSocket &socket();

private:
    Q_DISABLE_COPY_MOVE(ControlClient)

    QLocalSocket m_socket;
};

#endif
