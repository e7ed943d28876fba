#include "DBus.h"

#include "DBusNames.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace {

const QString ConnectionName = QStringLiteral("bench");

} // namespace

DBus::~DBus()
{
    QDBusConnection::disconnectFromPeer(ConnectionName);
}

bool DBus::open()
{
    QDBusConnection connection
        = QDBusConnection::connectToPeer(DBusNames::address(), ConnectionName);
    return connection.connect(QString(), DBusNames::ObjectPath, DBusNames::InterfaceName,
                              QStringLiteral("payload"), this, SLOT(take(QByteArray)));
}

void DBus::send(const Order &order)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString(), DBusNames::ObjectPath, DBusNames::InterfaceName, QStringLiteral("order"));
    call << order.bytes();
    QDBusConnection(ConnectionName).send(call);
}

void DBus::take(const QByteArray &body)
{
    count(body);
}
