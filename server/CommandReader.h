#ifndef COMMANDREADER_H
#define COMMANDREADER_H

#include "Command.h"

#include <QHash>
#include <QStringList>

class JsonFields;

/// Makes commands of JSON objects. The field `do` names the command.
class CommandReader
{
public:
    /// \a keys are those of the equipment that commands may be about.
    explicit CommandReader(const QStringList &keys);

    /// Whether the command is right, the fields tell: the caller has them finished.
    Command read(JsonFields *fields) const;

private:
    QStringList m_keys;
};

/// The commands by their names, a table for each concern.
using CommandTable
    = QHash<QString, std::function<Command(JsonFields *fields, const QStringList &keys)>>;

CommandTable equipmentCommands();
CommandTable memoryCommands();
CommandTable messageCommands();
CommandTable faultCommands();
CommandTable serverCommands();

#endif
