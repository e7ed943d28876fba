#include "SessionOptions.h"

#include <QObject>

namespace {

constexpr int ShortestDelayMs = 10;

} // namespace

ReconnectPolicy ReconnectPolicy::off()
{
    ReconnectPolicy policy;
    policy.firstDelayMs = 0;
    policy.longestDelayMs = 0;
    return policy;
}

bool ReconnectPolicy::isOff() const
{
    return firstDelayMs == 0;
}

QString SessionOptions::problem() const
{
    if (startTimeoutMs < 1 || registrationTimeoutMs < 1 || requestTimeoutMs < 1)
        return QObject::tr("A time limit must be at least 1 ms.");
    if (silenceLimitMs < 0)
        return QObject::tr("The limit of silence must be 0, for none, or more.");
    if (!reconnect.isOff() && reconnect.firstDelayMs < ShortestDelayMs)
        return QObject::tr("The first delay of a reconnection must be at least %1 ms, or 0 for "
                           "none.")
            .arg(ShortestDelayMs);
    if (reconnect.longestDelayMs < reconnect.firstDelayMs)
        return QObject::tr("The longest delay of a reconnection is shorter than the first.");
    return QString();
}
