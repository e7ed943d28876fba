#include "EquipmentTableChange.h"

namespace {

// Of the fields that the server fills; the others keep their defaults.
bool isSame(const EquipmentInfo &a, const EquipmentInfo &b)
{
    return a.shortValue == b.shortValue && a.longValue == b.longValue && a.text == b.text
        && a.intValue == b.intValue;
}

} // namespace

EquipmentTableChange EquipmentTableChange::between(const Table &before, const Table &after)
{
    EquipmentTableChange change;
    auto was = before.cbegin();
    auto is = after.cbegin();
    while (was != before.cend() || is != after.cend()) {
        if (is == after.cend() || (was != before.cend() && was.key() < is.key())) {
            change.removed.append(was.key());
            ++was;
        } else if (was == before.cend() || is.key() < was.key()) {
            change.added.append(is.key());
            ++is;
        } else {
            if (!isSame(*was, *is))
                change.changed.append(is.key());
            ++was;
            ++is;
        }
    }
    return change;
}

bool EquipmentTableChange::isEmpty() const
{
    return added.isEmpty() && removed.isEmpty() && changed.isEmpty();
}
