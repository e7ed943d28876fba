#ifndef TIMESTAMP_H
#define TIMESTAMP_H

#include <QString>

/// This moment in local time, such as "2024-05-01T12:00:00.250".
QString timeStamp();

#endif
