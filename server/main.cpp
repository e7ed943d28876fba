#include "DeviceServer.h"
#include "EquipmentConfig.h"
#include "ServerLog.h"
#include "ServerOptions.h"
#include "ServerSocket.h"
#include "TerminationSignals.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

enum ExitCode { Ended = 0, CannotListen = 1, BadInput = 2, Occupied = 3 };

int serve(const ServerOptions &options, const QVector<EquipmentDescription> &equipment)
{
    const TerminationSignals terminationSignals;
    ServerSocket socket;
    const ServerSocket::Outcome outcome = socket.listen();
    if (outcome != ServerSocket::Outcome::Listening) {
        ServerLog::line(socket.error());
        return outcome == ServerSocket::Outcome::Occupied ? Occupied : CannotListen;
    }
    DeviceServer server(options, equipment);
    QObject::connect(&socket, &ServerSocket::connected, &server, &DeviceServer::addClient);
    QObject::connect(&server, &DeviceServer::idle, &server, [] { QCoreApplication::quit(); });
    QObject::connect(&terminationSignals, &TerminationSignals::terminationRequested, &server,
                     [] { QCoreApplication::quit(); });
    std::printf("listening %s\n", socket.path().toLocal8Bit().constData());
    std::fflush(stdout);
    QCoreApplication::exec();
    server.sayGoodbye();
    return Ended;
}

} // namespace

int main(int argc, char **argv)
{
    // Whoever reads what this program says may go away; it serves its clients all the same.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);
    ServerOptionsReader reader;
    switch (reader.read(QCoreApplication::arguments())) {
    case ServerOptionsReader::Outcome::Print:
        std::fputs(reader.text().toLocal8Bit().constData(), stdout);
        return Ended;
    case ServerOptionsReader::Outcome::Refuse:
        ServerLog::line(reader.text() + QLatin1String(" Try --help."));
        return BadInput;
    case ServerOptionsReader::Outcome::Run:
        break;
    }
    const ServerOptions options = reader.options();
    ServerLog::setVerbose(options.isVerbose);
    EquipmentConfig config;
    if (!options.configFile.isEmpty() && !config.readFile(options.configFile)) {
        ServerLog::line(config.error());
        return BadInput;
    }
    return serve(options,
                 options.configFile.isEmpty() ? EquipmentConfig::builtIn() : config.equipment());
}
