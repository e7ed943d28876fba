#include "AddressOptions.h"

#include "VerbOptions.h"

#include <limits>

void AddressOptions::addTo(VerbOptions *options, EquipmentAddress *target)
{
    addKeyTo(options, &target->key);
    options->number("--address", "BYTES", QStringLiteral("Where it begins. Default 0."),
                    {0, std::numeric_limits<quint32>::max(), "(an address in bytes)"},
                    &target->address);
    options->number("--port", "NUMBER", QStringLiteral("The port. Default 0."),
                    {std::numeric_limits<qint8>::min(), std::numeric_limits<qint8>::max(),
                     "(the number of a port)"},
                    &target->port);
    options->number("--board", "NUMBER", QStringLiteral("The scan board. Default 0."),
                    {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                     "(the number of a scan board)"},
                    &target->scanBoard);
    options->number("--device-type", "NUMBER", QStringLiteral("The type of device. Default 0."),
                    {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                     "(the number of a type)"},
                    &target->deviceType);
}

void AddressOptions::addKeyTo(VerbOptions *options, QString *target)
{
    options->argument("KEY", QStringLiteral("The equipment's connection key: see list."), target);
}
