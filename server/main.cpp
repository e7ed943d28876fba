#include "ControlChannel.h"
#include "DeviceServer.h"
#include "EquipmentConfig.h"
#include "MovingValues.h"
#include "ScenarioReader.h"
#include "ServerLog.h"
#include "ServerOptions.h"
#include "ServerSocket.h"
#include "StandardStreams.h"
#include "TerminationSignals.h"
#include "Timeline.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

enum ExitCode { Ended = 0, CannotListen = 1, BadInput = 2, Occupied = 3 };

bool readScenario(const ServerOptions &options, Scenario *scenario)
{
    EquipmentConfig config;
    ScenarioReader reader;
    if (!options.configFile.isEmpty() && !config.readFile(options.configFile)) {
        ServerLog::line(config.error());
        return false;
    }
    if (!options.scenarioFile.isEmpty() && !reader.readFile(options.scenarioFile)) {
        ServerLog::line(reader.error());
        return false;
    }
    *scenario = reader.scenario();
    if (!options.configFile.isEmpty())
        scenario->equipment = config.equipment();
    else if (options.scenarioFile.isEmpty())
        scenario->equipment = EquipmentConfig::builtIn();
    return true;
}

int listenOn(ServerSocket *socket)
{
    const ServerSocket::Outcome outcome = socket->listen();
    if (outcome == ServerSocket::Outcome::Listening)
        return Ended;
    ServerLog::line(socket->error());
    return outcome == ServerSocket::Outcome::Occupied ? Occupied : CannotListen;
}

void announce(const char *what, const ServerSocket &socket)
{
    std::printf("%s %s\n", what, socket.path().toLocal8Bit().constData());
}

int serve(const ServerOptions &options, const Scenario &scenario)
{
    const TerminationSignals terminationSignals;
    ServerSocket socket(QStringLiteral("tarnSver"));
    ServerSocket controlSocket(options.controlName);
    const bool isControlled = !options.controlName.isEmpty();
    int outcome = listenOn(&socket);
    if (outcome == Ended && isControlled)
        outcome = listenOn(&controlSocket);
    if (outcome != Ended)
        return outcome;
    DeviceServer server(options, scenario);
    const MovingValues movingValues(server.rack(), scenario.seed);
    Timeline timeline(scenario.timeline, &server);
    ControlChannel control(&server);
    QObject::connect(&socket, &ServerSocket::connected, &server, &DeviceServer::addClient);
    QObject::connect(&controlSocket, &ServerSocket::connected, &control,
                     &ControlChannel::addSteersman);
    QObject::connect(&server, &DeviceServer::idle, &server, [] { QCoreApplication::quit(); });
    QObject::connect(&terminationSignals, &TerminationSignals::terminationRequested, &server,
                     [] { QCoreApplication::quit(); });
    timeline.start();
    announce("listening", socket);
    if (isControlled)
        announce("control", controlSocket);
    std::fflush(stdout);
    QCoreApplication::exec();
    server.sayGoodbye();
    return Ended;
}

} // namespace

int main(int argc, char **argv)
{
    StandardStreams::occupy();
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
    Scenario scenario;
    if (!readScenario(options, &scenario))
        return BadInput;
    return serve(options, scenario);
}
