#ifndef DBUSNAMES_H
#define DBUSNAMES_H

#include <QDir>
#include <QString>

/// Where the two ends of the QtDBus contestant meet.
namespace DBusNames {

inline QString address()
{
    return QStringLiteral("unix:path=%1/benchdbus").arg(QDir::tempPath());
}
const QString ObjectPath = QStringLiteral("/payloads");
const QString InterfaceName = QStringLiteral("bench.Payloads");

} // namespace DBusNames

#endif
