#include "ByteChanges.h"

QVector<ByteChange> byteChanges(const QByteArray &before, const QByteArray &after)
{
    Q_ASSERT(before.size() == after.size());
    QVector<ByteChange> changes;
    for (int i = 0; i < after.size(); ++i) {
        if (before.at(i) == after.at(i))
            continue;
        if (changes.isEmpty() || changes.constLast().offset + changes.constLast().after.size() != i)
            changes.append({i, QByteArray(), QByteArray()});
        changes.last().before += before.at(i);
        changes.last().after += after.at(i);
    }
    return changes;
}
