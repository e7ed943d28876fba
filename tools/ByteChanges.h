#ifndef BYTECHANGES_H
#define BYTECHANGES_H

#include <QByteArray>
#include <QVector>

/// Neighbouring bytes that differ between two readings of one range.
struct ByteChange
{
    int offset; ///< from the start of the range
    QByteArray before; ///< as long as `after`
    QByteArray after;
};

/// The differences between \a before and \a after, which are equally long, in ascending order.
QVector<ByteChange> byteChanges(const QByteArray &before, const QByteArray &after);

#endif
