#ifndef FAULTYSERVER_H
#define FAULTYSERVER_H

#include "SteeredServer.h"

#include <QRandomGenerator>
#include <QStringList>

#include <memory>

/// The simulated server as a process to which everything happens that can: each fault of its own,
/// and signals. Waits with the event loop running.
class FaultyServer
{
public:
    /// \a arguments are the server's. \a hangMs is how long a server that hangs does so.
    FaultyServer(const QStringList &arguments, int hangMs, quint32 seed);

    bool start();
    /// Has the next thing happen, each as often as the others; its name.
    QString befall();
    /// Undoes what can be undone, and starts the server again when it has gone; whether it runs.
    bool repair();
    /// Kills the server and starts it anew; whether it runs.
    bool restart();

    /// How many kinds of things there are.
    static int kinds();
    int starts() const;

private:
    void carryOut(int kind);
    void hang(int ms);
    bool end(int signalNumber);
    bool isResponding();

    const QStringList m_arguments;
    const int m_hangMs;
    QRandomGenerator m_random;
    QList<int> m_deck; // kinds that are to come
    std::unique_ptr<SteeredServer> m_server;
    bool m_isHung = false;
    int m_starts = 0;
};

#endif
