#ifndef PACKAGEFIELDS_H
#define PACKAGEFIELDS_H

#include "TarnEnum.h"

#include <QByteArray>
#include <QString>

constexpr int UnknownReadWriteCode = -1;
constexpr int ReadCode = 0;
constexpr int WriteCode = 1;

/// What a package holds, as plain values: the one thing that the text and the byte form read and
/// write. Not installed.
struct PackageFields
{
    quint64 serialNum = 0;
    int readWriteCode = UnknownReadWriteCode;
    int clientPackageType = 0;

    QString serverConnectionKey;
    int deviceType = 0;
    qint8 portAddr = 0;
    int scanBoardAddr = 0;
    qint8 desAddr = 0;
    qint8 scrAddr = 0;
    quint16 highAddr = 0;
    quint16 lowAddr = 0;
    int reserved2 = 0;
    int timeout = 0;
    QString tag;
    void *userToken = nullptr; ///< never travels

    int readLength = 0;
    int replyDataLength = 0;
    TarnEnum::CommResults commResult = TarnEnum::Success;
    QByteArray data;
};

#endif
