#ifndef DEVICEBROADCAST_H
#define DEVICEBROADCAST_H

#include "EquipmentAddress.h"
#include "TarnEnum.h"

#include <QByteArray>

/// What the server tells everyone, such as another application's write: a plain value.
struct DeviceBroadcast
{
    EquipmentAddress address; ///< what it is about
    QByteArray data; ///< as much as the server says
    QString tag; ///< a text of the application that made the request
    TarnEnum::CommResults result = TarnEnum::Success; ///< how that request ended
    bool isRead = false; ///< it has the form of a reply to a read request
    bool isWrite = false; ///< it has the form of a reply to a write request: `data` was written
};

Q_DECLARE_METATYPE(DeviceBroadcast)

#endif
