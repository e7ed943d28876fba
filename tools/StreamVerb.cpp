#include "StreamVerb.h"

#include "Diagnostics.h"
#include "VerbOptions.h"

#include <QTimer>

#include <limits>

namespace {

constexpr int MsPerSecond = 1000;

} // namespace

void StreamVerb::addLimits(VerbOptions *options, const QString &counted)
{
    options->number("--count", "N",
                    QStringLiteral("End after so many %1. Default no limit.").arg(counted),
                    {1, std::numeric_limits<int>::max(), "of them"}, &m_count);
    options->number("--for", "SECONDS",
                    QStringLiteral("End after so many seconds. Default no limit."),
                    {1, std::numeric_limits<int>::max() / MsPerSecond, "seconds"}, &m_seconds);
}

void StreamVerb::countOne()
{
    if (++m_counted == m_count)
        finish(ExitCode::Done);
}

bool StreamVerb::goesOn() const
{
    return true;
}

SessionOptions StreamVerb::sessionOptions() const
{
    SessionOptions options = Verb::sessionOptions();
    if (goesOn())
        options.reconnect = ReconnectPolicy();
    return options;
}

void StreamVerb::ready()
{
    if (m_wasReady)
        Diagnostics::line(QStringLiteral("The server is back."));
    else if (m_seconds > 0)
        QTimer::singleShot(m_seconds * MsPerSecond, this, [this] { finish(ExitCode::Done); });
    m_wasReady = true;
    opened();
}

void StreamVerb::lost(const SessionError &error)
{
    if (goesOn())
        Diagnostics::line(QStringLiteral("%1 Waiting for it to come back.").arg(error.text));
    else
        Verb::lost(error);
}
