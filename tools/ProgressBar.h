#ifndef PROGRESSBAR_H
#define PROGRESSBAR_H

#include <QElapsedTimer>
#include <QString>

/// How far a transfer is, in one line of the terminal that standard error is. Shows nothing when
/// standard error is not a terminal.
class ProgressBar
{
public:
    /// Also shows nothing while \a isWanted is false.
    explicit ProgressBar(bool isWanted);
    /// Clears.
    ~ProgressBar();

    /// Draws the line anew, a few times a second at most.
    void show(qint64 done, qint64 total);
    /// Removes the line, so that something else can be said there.
    void clear();

    /// "[##########          ]  50%  512 of 1024 bytes"
    static QString line(qint64 done, qint64 total);

private:
    Q_DISABLE_COPY_MOVE(ProgressBar)

    const bool m_isShown;
    bool m_isDrawn = false;
    QElapsedTimer m_sinceDrawn;
};

#endif
