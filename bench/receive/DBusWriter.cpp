// Emits bodies as signals over a peer-to-peer connection of QtDBus.
#include "Batches.h"
#include "DBusNames.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusServer>

#include <cstdio>

/// The object at the writer's end; all of it is exported.
class PayloadsWriter : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "bench.Payloads")

public Q_SLOTS:
    void order(const QByteArray &bytes)
    {
        m_batches.start(Order::read(bytes.constData()));
    }

Q_SIGNALS:
    void payload(const QByteArray &body);

private:
    Batches m_batches{[this](const QByteArray &body) { Q_EMIT payload(body); }};
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    PayloadsWriter writer;
    const QDBusServer server(DBusNames::address());
    QObject::connect(&server, &QDBusServer::newConnection, &writer,
                     [&writer](QDBusConnection connection) {
                         connection.registerObject(DBusNames::ObjectPath, &writer,
                                                   QDBusConnection::ExportAllContents);
                     });
    if (!server.isConnected()) {
        std::fputs("bench_peer_dbus: cannot be reached\n", stderr);
        return 1;
    }
    std::puts("listening");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "DBusWriter.moc"
