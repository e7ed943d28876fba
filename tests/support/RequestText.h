#ifndef REQUESTTEXT_H
#define REQUESTTEXT_H

#include "RawClient.h"

/// Request texts for the server, written down by hand.
using Fields = QList<QPair<QByteArray, QByteArray>>;

inline QByteArray readText(const QByteArray &serial, const QByteArray &key, int address, int length,
                           const Fields &more = Fields())
{
    return fieldText(Fields{{"serialNum", serial},
                            {"readWriteCode", "0"},
                            {"serverConnectionKey", key.toPercentEncoding()},
                            {"highAddr", QByteArray::number(address >> 16)},
                            {"lowAddr", QByteArray::number(address & 0xFFFF)},
                            {"readLength", QByteArray::number(length)}}
                     + more);
}

inline QByteArray writeText(const QByteArray &serial, const QByteArray &key, int address,
                            const QByteArray &data, const Fields &more = Fields())
{
    return fieldText(Fields{{"serialNum", serial},
                            {"readWriteCode", "1"},
                            {"serverConnectionKey", key.toPercentEncoding()},
                            {"highAddr", QByteArray::number(address >> 16)},
                            {"lowAddr", QByteArray::number(address & 0xFFFF)},
                            {"data", data.toBase64()}}
                     + more);
}

inline const Fields MemDataKind{{"clientPackageType", "2"}};
inline const Fields FileKind{{"clientPackageType", "1"}};

#endif
