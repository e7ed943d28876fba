// What examples/quickstart does, with the session layer: starts the device server when none runs,
// writes data to a piece of equipment, reads it back and compares. Exits with 0 only when what was
// read is what was written.
#include "DeviceSession.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTextStream>

#include <memory>

namespace {

QTextStream out(stdout);

// Runs the event loop until \a sender signals.
template <typename Sender, typename Signal>
void waitFor(Sender *sender, Signal signal)
{
    QEventLoop loop;
    QObject::connect(sender, signal, &loop, &QEventLoop::quit);
    loop.exec();
}

bool open(DeviceSession *session, const QString &serverPath)
{
    SessionOptions options;
    options.serverPath = serverPath;
    session->open(options);
    while (session->state() != DeviceSession::State::Ready) {
        waitFor(session, &DeviceSession::stateChanged);
        if (session->state() == DeviceSession::State::Closed) {
            out << session->lastError().text << Qt::endl;
            return false;
        }
    }
    out << "Registered with server version " << session->serverVersion() << "." << Qt::endl;
    return true;
}

// All controllers are asked to connect; the answer may take a while, and the server may go
// meanwhile.
bool connectControllers(DeviceSession *session)
{
    QEventLoop loop;
    QObject::connect(session, &DeviceSession::allControllersConnected, &loop, &QEventLoop::quit);
    QObject::connect(session, &DeviceSession::stateChanged, &loop, &QEventLoop::quit);
    if (session->connectAllControllers())
        loop.exec();
    if (session->state() != DeviceSession::State::Ready)
        out << session->lastError().text << Qt::endl;
    return session->state() == DeviceSession::State::Ready;
}

void showTable(const DeviceSession &session)
{
    const QMap<QString, EquipmentInfo> table = session.equipmentTable();
    for (const EquipmentInfo &equipment : table)
        out << "  " << equipment.connectionKey << "  " << equipment.text << ", "
            << (equipment.intValue == 1 ? "connected" : "not connected") << Qt::endl;
}

// Takes over \a reply; false, with the reason said, when it ends with an error.
bool finish(DeviceReply *reply, QByteArray *data = nullptr)
{
    const std::unique_ptr<DeviceReply> owner(reply);
    waitFor(reply, &DeviceReply::finished);
    if (reply->error() != SessionError::Code::None)
        out << reply->errorString() << Qt::endl;
    else if (data != nullptr)
        *data = reply->data();
    return reply->error() == SessionError::Code::None;
}

bool writeAndReadBack(DeviceSession *session, const QString &key)
{
    const QByteArray written("Hello, equipment!");
    const EquipmentAddress address(key, 0x40);
    QByteArray read;
    if (!finish(session->write(address, written))
        || !finish(session->read(address, written.size()), &read))
        return false;
    out << "Read back from " << key << ": " << read << Qt::endl;
    return read == written;
}

bool run(DeviceSession *session, const QString &serverPath)
{
    if (!open(session, serverPath) || !connectControllers(session))
        return false;
    showTable(*session);
    if (session->equipmentTable().isEmpty()) {
        out << "The server has no equipment." << Qt::endl;
        return false;
    }
    return writeAndReadBack(session, session->equipmentTable().firstKey());
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    DeviceSession session;
    const bool isGood = run(&session, QCoreApplication::arguments().value(1));
    out << (isGood ? "Done." : "Failed.") << Qt::endl;
    return isGood ? 0 : 1;
}
