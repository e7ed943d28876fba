#ifndef SERVERPROCESS_H
#define SERVERPROCESS_H

#include <QProcess>
#include <QStringList>

/// The real server program as a process in the test's folder. Its process name is not the server's,
/// so that tests that look for a server on this machine do not find this one. Killed, if it still
/// runs, when this object ends.
class ServerProcess
{
public:
    ServerProcess() = default;
    ~ServerProcess();

    /// Starts it and waits until it says that it listens; false when it ends instead.
    bool start(const QStringList &arguments = QStringList());

    /// Starts it without waiting for anything.
    void launch(const QStringList &arguments);

    /// Waits for its end; false when it does not come.
    bool waitForEnd();

    bool isRunning() const;
    qint64 pid() const;
    int exitCode() const;
    bool hasCrashed() const;
    /// Everything it has said so far.
    QString output();
    QString errors();

    /// Before the start: has it write its standard error to that file.
    void sendErrorsTo(const QString &fileName);

    void terminate();
    void kill();
    void sendSignal(int number);

private:
    Q_DISABLE_COPY_MOVE(ServerProcess)

    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

#endif
