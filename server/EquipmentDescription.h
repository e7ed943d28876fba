#ifndef EQUIPMENTDESCRIPTION_H
#define EQUIPMENTDESCRIPTION_H

#include "ChangingValue.h"
#include "EquipmentMemory.h"
#include "TarnEnum.h"

#include <QString>
#include <QVector>

/// One piece of simulated equipment as the configuration describes it.
struct EquipmentDescription
{
    enum class Kind { Controller = 1, ScanBoard = 2 }; ///< the numbers stand in the equipment table

    /// What stands in the memory at the start.
    struct Preset
    {
        EquipmentMemory::Place place;
        QByteArray data;
    };

    QString key;
    Kind kind = Kind::Controller;
    QString controller; ///< of a scan board: the key of the controller it belongs to
    int serial = 0;
    QString text;
    int memory = 65536; ///< bytes behind each port of each scan board address
    int ports = 2; ///< port addresses 0 to ports - 1
    int scanBoards = 4; ///< scan board addresses 0 to scanBoards - 1
    int appearsAfterMs = 0; ///< 0: there from the start
    bool isAbsent = false; ///< not there until it is told to appear
    int latencyMs = -1; ///< how long a request to it takes; -1: as long as the server says
    int jitterMs = 0; ///< and at most that much more
    int connectTimeMs = 0; ///< how long it takes to connect, of a controller
    TarnEnum::CommResults result
        = TarnEnum::Success; ///< of each request; others are not carried out
    QVector<Preset> presets;
    QVector<ChangingValue> values; ///< in its memory
};

#endif
