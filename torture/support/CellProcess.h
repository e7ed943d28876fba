#ifndef CELLPROCESS_H
#define CELLPROCESS_H

#include <QElapsedTimer>
#include <QProcess>
#include <QTimer>

/// One cell in a process of its own, so that a crash is a finding and not the end.
class CellProcess : public QObject
{
    Q_OBJECT

public:
    enum class Outcome { Held, Wrong, Crashed, Hung };

    /// The exit code of a cell that went wrong and could say so.
    static constexpr int WrongExitCode = 3;

    /// \a folder, which is made, is the process's temporary folder.
    CellProcess(const QStringList &arguments, const QString &folder);

    Outcome outcome() const;
    /// What it said, where it did not hold.
    QString words();
    qint64 elapsedMs() const;

Q_SIGNALS:
    void ended();

private:
    void end();

    QProcess m_process;
    QTimer m_limit;
    QElapsedTimer m_clock;
    qint64 m_elapsedMs = 0;
    bool m_isHung = false;
    QString m_folder;
};

#endif
