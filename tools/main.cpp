#include "CommandLine.h"
#include "Diagnostics.h"
#include "StandardStreams.h"
#include "TerminationSignals.h"
#include "Verb.h"

#include <QCoreApplication>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

int exitValue(ExitCode code)
{
    return static_cast<int>(code);
}

ExitCode print(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    if (std::fflush(stdout) == 0 || errno == EPIPE)
        return ExitCode::Done;
    Diagnostics::line(QStringLiteral("Standard output cannot be written: %1.")
                          .arg(QString::fromLocal8Bit(std::strerror(errno))));
    return ExitCode::Failed;
}

} // namespace

int main(int argc, char **argv)
{
    StandardStreams::occupy();
    // Whoever reads what this program says may go away; the verb notices and ends quietly.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);
    Diagnostics::takeLog();
    CommandLine commandLine;
    switch (commandLine.read(QCoreApplication::arguments())) {
    case CommandLine::Outcome::Print:
        return exitValue(print(commandLine.text()));
    case CommandLine::Outcome::Refuse:
        Diagnostics::line(commandLine.text());
        return exitValue(ExitCode::Usage);
    case CommandLine::Outcome::Run:
        break;
    }
    Verb *const verb = commandLine.verb();
    Diagnostics::setQuiet(verb->common()->isQuiet);
    Diagnostics::setVerbose(verb->common()->isVerbose);
    const QString problem = verb->prepare();
    if (!problem.isEmpty()) {
        Diagnostics::line(problem);
        return exitValue(ExitCode::Failed);
    }
    const TerminationSignals terminationSignals;
    return exitValue(verb->run(terminationSignals));
}
