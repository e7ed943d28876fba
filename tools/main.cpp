#include "CommandLine.h"
#include "Diagnostics.h"
#include "StandardStreams.h"
#include "TerminationSignals.h"
#include "Verb.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

int exitValue(ExitCode code)
{
    return static_cast<int>(code);
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
        std::fputs(commandLine.text().toLocal8Bit().constData(), stdout);
        return exitValue(ExitCode::Done);
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
