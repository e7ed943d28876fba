#include "CommandReader.h"

#include "JsonFields.h"

#include <algorithm>

namespace {

const CommandTable &allCommands()
{
    static const CommandTable commands = [] {
        CommandTable all;
        for (const CommandTable &table : {equipmentCommands(), memoryCommands(), messageCommands(),
                                          faultCommands(), serverCommands()}) {
            for (auto entry = table.cbegin(); entry != table.cend(); ++entry)
                all.insert(entry.key(), entry.value());
        }
        return all;
    }();
    return commands;
}

QStringList commandNames()
{
    QStringList names = allCommands().keys();
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

CommandReader::CommandReader(const QStringList &keys)
    : m_keys(keys)
{ }

Command CommandReader::read(JsonFields *fields) const
{
    static const QStringList names = commandNames();
    const QString &name = names.at(fields->choice("do", names));
    return allCommands().value(name)(fields, m_keys);
}
