#ifndef COMMAND_H
#define COMMAND_H

#include <QJsonObject>
#include <QString>

#include <functional>

class DeviceServer;

/// Something that the server is told to do, read and ready to be carried out any number of times.
/// It returns what went wrong, which is empty when all is well, and puts what it has to tell into
/// \a answer.
using Command = std::function<QString(DeviceServer *server, QJsonObject *answer)>;

#endif
