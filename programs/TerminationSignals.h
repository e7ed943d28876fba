#ifndef TERMINATIONSIGNALS_H
#define TERMINATIONSIGNALS_H

#include <QObject>

/// Turns SIGTERM and SIGINT into a signal of Qt's. Make it before any thread is started: it blocks
/// both for the process.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();
    ~TerminationSignals() override;

    /// Can be read while a signal waits to be taken: for who waits for something else without the
    /// event loop.
    int descriptor() const;

Q_SIGNALS:
    void terminationRequested();

private:
    void read();

    int m_descriptor;
};

#endif
