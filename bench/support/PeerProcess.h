#ifndef PEERPROCESS_H
#define PEERPROCESS_H

#include <QProcess>
#include <QString>
#include <QStringList>

/// The other end of a benchmark's socket, as a process of its own. Killed when this object ends.
class PeerProcess
{
public:
    PeerProcess() = default;
    ~PeerProcess();

    /// Starts \a program and waits until it prints a line that begins with "listening"; false when
    /// it ends instead. Its process name is "benchpeer", so that nobody on this machine who looks
    /// for a device server takes it for one.
    bool start(const QString &program, const QStringList &arguments = QStringList());

private:
    Q_DISABLE_COPY_MOVE(PeerProcess)

    // Ends with the benchmark, also with one that is killed.
    class Process : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };

    Process m_process;
};

#endif
