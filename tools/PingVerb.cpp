#include "PingVerb.h"

#include "AddressOptions.h"
#include "VerbOptions.h"

#include <QTimer>

#include <limits>

namespace {

constexpr double NsPerMs = 1e6;

} // namespace

PingVerb::PingVerb()
    : Verb(QStringLiteral("ping"),
           QStringLiteral("Measure the round trips of requests to a piece of equipment."))
{ }

void PingVerb::addOptions(VerbOptions *options)
{
    AddressOptions::addKeyTo(options, &m_key);
    options->number("--count", "N", QStringLiteral("How many requests. Default %1.").arg(m_count),
                    {1, std::numeric_limits<int>::max(), "requests"}, &m_count);
    options->number(
        "--interval", "MS",
        QStringLiteral("From a reply to the next request. Default %1 ms.").arg(m_intervalMs),
        {0, std::numeric_limits<int>::max(), "milliseconds"}, &m_intervalMs);
}

void PingVerb::ready()
{
    if (const SessionError error = keyError(m_key))
        return fail(error);
    ask();
}

void PingVerb::lost(const SessionError &error)
{
    report();
    fail(error);
}

void PingVerb::interrupted()
{
    report();
    Verb::interrupted();
}

// Writing nothing asks whether the equipment is there.
void PingVerb::ask()
{
    if (isFinished())
        return;
    ++m_sent;
    m_sinceSent.start();
    DeviceReply *const reply = session()->write({m_key, 0}, QByteArray());
    connect(reply, &DeviceReply::finished, this, [this, reply] { take(reply); });
}

void PingVerb::take(DeviceReply *reply)
{
    const double milliseconds = static_cast<double>(m_sinceSent.nsecsElapsed()) / NsPerMs;
    reply->deleteLater();
    if (isFinished())
        return;
    if (reply->sessionError()) {
        m_lastError = reply->sessionError();
        m_roundTrips.addFailure();
    } else {
        m_roundTrips.add(milliseconds);
    }
    if (m_lastError.code == SessionError::Code::ConnectionLost)
        return lost(m_lastError);
    if (m_sent < m_count) {
        QTimer::singleShot(m_intervalMs, this, &PingVerb::ask);
        return;
    }
    report();
    if (m_lastError)
        fail(m_lastError);
    finish(ExitCode::Done);
}

void PingVerb::report()
{
    if (isFinished())
        return;
    QJsonObject object = m_roundTrips.json();
    object.insert(QStringLiteral("key"), m_key);
    if (isJson())
        output()->json(object);
    else
        output()->text(m_roundTrips.text());
}
