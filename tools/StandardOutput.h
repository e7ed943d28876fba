#ifndef STANDARDOUTPUT_H
#define STANDARDOUTPUT_H

#include <QJsonObject>
#include <QObject>

class TerminationSignals;

/// Standard output, where the data goes. Everything written is on its way when the call returns. A
/// reader that does not read is waited for, until the program is to end.
class StandardOutput : public QObject
{
    Q_OBJECT

public:
    /// \a signals must outlive it.
    explicit StandardOutput(const TerminationSignals &signals);

    void write(const QByteArray &bytes);
    void text(const QString &text);
    /// One object in one line.
    void json(const QJsonObject &object);

    static QByteArray jsonLine(const QJsonObject &object);
    static bool isTerminal();

Q_SIGNALS:
    /// Whoever reads it has gone. Also while nothing is written.
    void closed();
    /// The program is to end, and its reader did not read what was being written.
    void interrupted();
    /// It cannot be written, for a reason such as "No space left on device".
    void failed(const QString &reason);

private:
    bool waitForRoom() const;

    const int m_signals;
    bool m_isUsable = true;
};

#endif
