#include "ServerOptions.h"

#include <QCommandLineParser>
#include <QMap>

#include <limits>

namespace {

const QString Description = QStringLiteral("A simulated device server: listens on the local socket "
                                           "\"tarnSver\" in the temporary folder and\n"
                                           "answers for equipment that exists in its memory only. "
                                           "Prints \"listening\" and the socket's path\n"
                                           "when it is ready. SIGTERM or SIGINT ends it.\n\n"
                                           "Exit codes: 0 ended as asked, 1 cannot listen, 2 bad "
                                           "option or configuration, 3 another server\n"
                                           "serves the socket.");

const QMap<QString, ServerOptions::Answer> Answers{
    {QStringLiteral("accept"), ServerOptions::Answer::Accept},
    {QStringLiteral("reject"), ServerOptions::Answer::Reject},
    {QStringLiteral("error"), ServerOptions::Answer::Error},
    {QStringLiteral("silent"), ServerOptions::Answer::Silent},
};

const QCommandLineOption ConfigOption(QStringLiteral("config"),
                                      QStringLiteral("Take the equipment from this JSON file."),
                                      QStringLiteral("file"));
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
    parser.addOptions({ConfigOption, LatencyOption, RegisterOption, IdleOption, VerboseOption,
                       VersionOption, HelpOption});
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
    m_options.configFile = parser.value(ConfigOption);
    if (parser.isSet(ConfigOption) && m_options.configFile.isEmpty())
        return refuse(QStringLiteral("--config needs the name of a file."));
    const QString latency = parser.value(LatencyOption);
    if (!readNumber(latency, 0, 3600 * 1000, &m_options.latencyMs))
        return refuse(
            QStringLiteral("--latency takes 0 to 3600000 milliseconds, not '%1'.").arg(latency));
    const QString answer = parser.value(RegisterOption);
    if (!Answers.contains(answer))
        return refuse(QStringLiteral("--register takes accept, reject, error or silent, not '%1'.")
                          .arg(answer));
    m_options.registerAnswer = Answers.value(answer);
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

ServerOptionsReader::Outcome ServerOptionsReader::refuse(const QString &reason)
{
    m_text = reason;
    return Outcome::Refuse;
}
