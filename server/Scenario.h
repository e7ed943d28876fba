#ifndef SCENARIO_H
#define SCENARIO_H

#include "Command.h"
#include "EquipmentDescription.h"
#include "Fault.h"

/// What the server plays: its equipment, what goes wrong and what happens when.
struct Scenario
{
    struct Event
    {
        QString place; ///< in the file, for the log
        int atMs = 0; ///< after the start
        int everyMs = 0; ///< and again each time that much later; 0 for only once
        int times = 0; ///< at most so often; 0 without an end
        Command command;
    };

    QVector<EquipmentDescription> equipment;
    quint32 seed = 1; ///< of everything that is random
    int heartbeatMs = 3000; ///< 0 for no heartbeats
    QVector<Fault> faults;
    QVector<Event> timeline;
};

#endif
