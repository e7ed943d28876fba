#include "KeyCheck.h"

#include "Suggestion.h"

SessionError checkedKey(const QString &key, const QStringList &keys)
{
    if (keys.contains(key))
        return {};
    const QString known = keys.isEmpty()
        ? QStringLiteral("there is none at all")
        : QStringLiteral("there are %1").arg(keys.join(QLatin1String(", ")));
    return {SessionError::Code::NoEquipment,
            QStringLiteral("There is no equipment \"%1\" here: %2.").arg(key, known)
                + Suggestion::question(key, keys)};
}
