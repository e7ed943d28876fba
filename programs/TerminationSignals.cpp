#include "TerminationSignals.h"

#include <QSocketNotifier>

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace {

sigset_t blockedSignals()
{
    sigset_t signalSet;
    sigemptyset(&signalSet);
    sigaddset(&signalSet, SIGTERM);
    sigaddset(&signalSet, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signalSet, nullptr);
    return signalSet;
}

} // namespace

TerminationSignals::TerminationSignals()
{
    const sigset_t signalSet = blockedSignals();
    m_descriptor = signalfd(-1, &signalSet, SFD_CLOEXEC | SFD_NONBLOCK);
    auto *const notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminationSignals::read);
}

TerminationSignals::~TerminationSignals()
{
    close(m_descriptor);
}

int TerminationSignals::descriptor() const
{
    return m_descriptor;
}

void TerminationSignals::read()
{
    signalfd_siginfo info{};
    if (::read(m_descriptor, &info, sizeof info) == sizeof info)
        Q_EMIT terminationRequested();
}
