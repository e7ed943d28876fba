#include "TimeStamp.h"

#include <QDateTime>

QString timeStamp()
{
    return QDateTime::currentDateTime().toString(Qt::ISODateWithMs);
}
