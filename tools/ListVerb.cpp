#include "ListVerb.h"

#include "EquipmentText.h"
#include "VerbOptions.h"

namespace {

constexpr char ClearScreen[] = "\033[H\033[2J";

} // namespace

ListVerb::ListVerb()
    : StreamVerb(QStringLiteral("list"), QStringLiteral("Show the equipment table."))
{ }

void ListVerb::addOptions(VerbOptions *options)
{
    options->flag("--keys", QStringLiteral("Print the keys only, one a line."), &m_isKeysOnly);
    options->flag("--watch", QStringLiteral("Show the table again after each change."),
                  &m_isWatching);
}

bool ListVerb::goesOn() const
{
    return m_isWatching;
}

void ListVerb::opened()
{
    show();
    if (m_isWatching)
        connect(session(), &DeviceSession::tableChanged, this, &ListVerb::show,
                Qt::UniqueConnection);
    else
        finish(ExitCode::Done);
}

// Being opened and the first table are two events for the same thing.
void ListVerb::show()
{
    const QByteArray table = rendered();
    if (m_isShown && table == m_shown)
        return;
    if (m_isWatching && !isJson() && StandardOutput::isTerminal())
        output()->write(ClearScreen);
    else if (m_isShown && !isJson())
        output()->write("\n");
    output()->write(table);
    m_isShown = true;
    m_shown = table;
}

QByteArray ListVerb::rendered() const
{
    const QMap<QString, EquipmentInfo> table = session()->equipmentTable();
    if (isJson())
        return StandardOutput::jsonLine(
            {{QStringLiteral("equipment"), EquipmentText::jsonTable(table)}});
    return (m_isKeysOnly ? EquipmentText::keys(table) : EquipmentText::table(table)).toLocal8Bit();
}
