#ifndef TERMINAL_H
#define TERMINAL_H

#include <QByteArray>
#include <QString>

/// A terminal without a screen: what a process writes to it can be read here.
class Terminal
{
public:
    Terminal();
    ~Terminal();

    /// The file that a process opens.
    QString fileName() const;

    /// Everything that has been written so far.
    QByteArray output();

private:
    Q_DISABLE_COPY_MOVE(Terminal)

    int m_master = -1;
    int m_slave = -1; ///< open here, too, so that nothing is lost when a process ends
    QByteArray m_output;
};

#endif
