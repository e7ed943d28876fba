#ifndef EQUIPMENTDESCRIPTION_H
#define EQUIPMENTDESCRIPTION_H

#include <QString>

/// One piece of simulated equipment as the configuration describes it.
struct EquipmentDescription
{
    enum class Kind { Controller = 1, ScanBoard = 2 }; ///< the numbers stand in the equipment table

    QString key;
    Kind kind = Kind::Controller;
    QString controller; ///< of a scan board: the key of the controller it belongs to
    int serial = 0;
    QString text;
    int memory = 65536; ///< bytes behind each port of each scan board address
    int ports = 2; ///< port addresses 0 to ports - 1
    int scanBoards = 4; ///< scan board addresses 0 to scanBoards - 1
    int appearsAfterMs = 0; ///< 0: there from the start
};

#endif
