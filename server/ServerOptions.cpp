#include "ServerOptions.h"

#include <QCommandLineParser>

#include <limits>

namespace {

const QString Description
    = QStringLiteral("A simulated device server: listens on the local socket "
                     "\"tarnSver\" in the temporary folder and\n"
                     "answers for equipment that exists in its memory only. "
                     "Prints \"listening\" and the socket's path\n"
                     "when it is ready, then \"control\" and that socket's path when "
                     "there is one. SIGTERM or SIGINT\nends it.\n\n"
                     "Exit codes: 0 ended as asked, 1 cannot listen, 2 bad "
                     "option or configuration, 3 another server\n"
                     "serves the socket.");

const QCommandLineOption ConfigOption(QStringLiteral("config"),
                                      QStringLiteral("Take the equipment from this JSON file."),
                                      QStringLiteral("file"));
const QCommandLineOption
    ScenarioOption(QStringLiteral("scenario"),
                   QStringLiteral("Play this JSON file: equipment, timeline, faults."),
                   QStringLiteral("file"));
const QCommandLineOption
    ControlOption(QStringLiteral("control"),
                  QStringLiteral("Take commands, one JSON object a line, on this local socket."),
                  QStringLiteral("name"));
const QCommandLineOption LatencyOption(QStringLiteral("latency"),
                                       QStringLiteral("Act on each request after this many ms."),
                                       QStringLiteral("ms"), QStringLiteral("0"));
const QCommandLineOption
    RegisterOption(QStringLiteral("register"),
                   QStringLiteral("Answer registrations so: accept, reject, error or silent."),
                   QStringLiteral("answer"), QStringLiteral("accept"));
const QCommandLineOption
    IdleOption(QStringLiteral("exit-when-idle"),
               QStringLiteral("End when no client has been connected for this many seconds."),
               QStringLiteral("seconds"));
const QCommandLineOption VerboseOption(QStringLiteral("verbose"),
                                       QStringLiteral("Say each message on standard error."));
const QCommandLineOption VersionOption(QStringLiteral("version"),
                                       QStringLiteral("Print the version."));
const QCommandLineOption HelpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Print this help."));

bool readNumber(const QString &text, int smallest, int largest, int *number)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < smallest || value > largest)
        return false;
    *number = value;
    return true;
}

} // namespace

ServerOptionsReader::Outcome ServerOptionsReader::read(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(Description);
    parser.addOptions({ConfigOption, ScenarioOption, ControlOption, LatencyOption, RegisterOption,
                       IdleOption, VerboseOption, VersionOption, HelpOption});
    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    if (parser.isSet(HelpOption)) {
        m_text = parser.helpText();
        return Outcome::Print;
    }
    if (parser.isSet(VersionOption)) {
        m_text = QStringLiteral("KVTServerMaster " KSPROXY_VERSION "\n");
        return Outcome::Print;
    }
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("Unexpected argument '%1'.")
                          .arg(parser.positionalArguments().constFirst()));

    m_options.isVerbose = parser.isSet(VerboseOption);
    if (!readName(parser, ConfigOption, &m_options.configFile)
        || !readName(parser, ScenarioOption, &m_options.scenarioFile)
        || !readName(parser, ControlOption, &m_options.controlName))
        return Outcome::Refuse;
    if (!m_options.configFile.isEmpty() && !m_options.scenarioFile.isEmpty())
        return refuse(QStringLiteral("--config cannot stand beside --scenario, which has the "
                                     "equipment too."));
    const QString latency = parser.value(LatencyOption);
    if (!readNumber(latency, 0, 3600 * 1000, &m_options.latencyMs))
        return refuse(
            QStringLiteral("--latency takes 0 to 3600000 milliseconds, not '%1'.").arg(latency));
    const QString answer = parser.value(RegisterOption);
    const int answerIndex = registerAnswerNames().indexOf(answer);
    if (answerIndex < 0)
        return refuse(QStringLiteral("--register takes accept, reject, error or silent, not '%1'.")
                          .arg(answer));
    m_options.registerAnswer = static_cast<RegisterAnswer>(answerIndex);
    const QString idle = parser.value(IdleOption);
    if (parser.isSet(IdleOption)
        && !readNumber(idle, 1, 1000 * 1000, &m_options.exitWhenIdleSeconds))
        return refuse(
            QStringLiteral("--exit-when-idle takes 1 to 1000000 seconds, not '%1'.").arg(idle));
    return Outcome::Run;
}

const ServerOptions &ServerOptionsReader::options() const
{
    return m_options;
}

QString ServerOptionsReader::text() const
{
    return m_text;
}

bool ServerOptionsReader::readName(const QCommandLineParser &parser,
                                   const QCommandLineOption &option, QString *name)
{
    *name = parser.value(option);
    if (!parser.isSet(option) || !name->isEmpty())
        return true;
    refuse(QStringLiteral("--%1 needs a name.").arg(option.names().constFirst()));
    return false;
}

ServerOptionsReader::Outcome ServerOptionsReader::refuse(const QString &reason)
{
    m_text = reason;
    return Outcome::Refuse;
}
