#ifndef TIMELINE_H
#define TIMELINE_H

#include "Scenario.h"

#include <QObject>

class DeviceServer;

/// Has the server carry out the events of a scenario, each at its time after `start`. What goes
/// wrong is logged; the others happen all the same.
class Timeline : public QObject
{
    Q_OBJECT

public:
    /// \a server stays the caller's.
    Timeline(const QVector<Scenario::Event> &events, DeviceServer *server);

    void start();

private:
    void carryOut(const Scenario::Event &event);
    void repeat(const Scenario::Event &event);

    QVector<Scenario::Event> m_events;
    DeviceServer *m_server;
};

#endif
