#ifndef CTLPROCESS_H
#define CTLPROCESS_H

#include <QJsonObject>
#include <QProcess>
#include <QStringList>

/// The real ksproxyctl as a process. Killed, if it still runs, when this object ends.
class CtlProcess
{
public:
    CtlProcess();
    ~CtlProcess();

    /// Starts it with \a arguments as they are.
    void launch(const QStringList &arguments);
    /// The same with "--no-start" behind the verb: no test but one of the start starts a server.
    void start(const QStringList &arguments);
    /// Starts it so, gives it \a input and waits for its end; false when that does not come.
    bool run(const QStringList &arguments, const QByteArray &input = QByteArray());
    /// Waits for its end; false when it does not come.
    bool waitForEnd();

    /// Before the start: standard output or standard error is this file, such as a terminal.
    void setOutputFile(const QString &fileName);
    void setErrorFile(const QString &fileName);

    bool isRunning() const;
    bool hasCrashed() const;
    int exitCode() const;
    /// Everything it has said so far.
    QByteArray output();
    QString errors();
    /// The one object that it has printed; empty when it has not.
    QJsonObject json();

    void sendSignal(int number);

private:
    Q_DISABLE_COPY_MOVE(CtlProcess)

    void kill();

    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

#endif
