#include "EventWait.h"
#include "FaultyServer.h"
#include "LoopWatch.h"
#include "MemoryCurve.h"
#include "ProxyTraffic.h"
#include "SessionFixture.h"
#include "SessionTraffic.h"
#include "TestMain.h"
#include "Torture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
const QString OtherKey = QStringLiteral("COM2");

// The equipment of a table that changes every second, and broadcasts.
const QByteArray Scenario = R"({"heartbeat": 1000,
"equipment": [
  {"key": "COM1", "kind": "controller", "serial": 1, "latency": 2, "jitter": 6, "connectTime": 20},
  {"key": "COM2", "kind": "controller", "serial": 2},
  {"key": "COM3", "kind": "controller", "serial": 3}],
"timeline": [
  {"at": 1000, "every": 2000, "do": "disappear", "key": "COM3"},
  {"at": 2000, "every": 2000, "do": "appear", "key": "COM3"},
  {"at": 50, "every": 100, "do": "broadcast", "key": "COM1", "hex": "2A 00"}]})";

/// What differs between the two forms.
struct Form
{
    explicit Form(bool isLong)
        : periodMs(isLong ? 10000 : 300)
        , timeoutMs(isLong ? 2000 : 500)
        , silenceLimitMs(isLong ? 2000 : 800)
        , warmUpSeconds(isLong ? 300 : 0)
    { }

    int periodMs; // from one fault to the next
    int timeoutMs; // of a request
    int silenceLimitMs;
    double warmUpSeconds;
};

/// How often the session was lost, and how long it was away.
class Absences
{
public:
    explicit Absences(DeviceSession *session, const SessionOptions &options)
    {
        QObject::connect(session, &DeviceSession::stateChanged, session,
                         [this, session, options](State state) {
                             if (state == State::Lost && !m_isAway) {
                                 ++m_count;
                                 m_isAway = true;
                                 m_clock.start();
                             } else if (state == State::Ready && m_isAway) {
                                 m_isAway = false;
                                 m_longestMs = qMax(m_longestMs, m_clock.elapsed());
                             } else if (state == State::Closed) {
                                 ++m_refusals; // for good: it has to be opened again
                                 session->open(options);
                             }
                         });
    }

    int count() const
    {
        return m_count;
    }

    int refusals() const
    {
        return m_refusals;
    }

    qint64 longestMs() const
    {
        return m_longestMs;
    }

private:
    Q_DISABLE_COPY_MOVE(Absences)

    QElapsedTimer m_clock;
    bool m_isAway = false;
    int m_count = 0;
    int m_refusals = 0;
    qint64 m_longestMs = 0;
};

QString writtenScenario(const Torture &torture)
{
    QFile file(torture.folder() + QLatin1String("/soak.json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(Scenario) != Scenario.size())
        qFatal("cannot write the scenario");
    return file.fileName();
}

bool isReady(const DeviceSession &session)
{
    return waitInEvents([&] { return session.state() == State::Ready; }, WaitLimitMs);
}

void addTrafficFigures(Torture *torture, const SessionTraffic &traffic, double seconds)
{
    torture->add("requests", traffic.requests());
    torture->add("commands", traffic.commands());
    torture->add("messages_per_second",
                 static_cast<double>(traffic.requests() + traffic.commands()) / seconds);
    torture->add("broadcasts", traffic.broadcasts());
    torture->add("table_changes", traffic.tableChanges());
    torture->add("good", traffic.ends(Code::None));
    torture->add("timed_out", traffic.ends(Code::TimedOut));
    torture->add("connection_lost", traffic.ends(Code::ConnectionLost));
    torture->add("cancelled", traffic.ends(Code::DeviceCancelled));
    torture->add("bad_replies", traffic.ends(Code::BadReply));
    torture->add("lost_replies", static_cast<qint64>(traffic.underWay()));
    torture->add("ended_twice", traffic.endedTwice());
    torture->add("late", traffic.late());
    torture->add("wrong_data", traffic.wrong());
    torture->add("median_ms", traffic.medianMs());
    torture->add("slowest_good_ms", traffic.slowestMs());
    torture->require(traffic.underWay() == 0, QStringLiteral("requests never ended"));
    torture->require(traffic.endedTwice() == 0, QStringLiteral("requests ended twice"));
    torture->require(traffic.late() == 0, QStringLiteral("requests ended late"));
    torture->require(traffic.wrong() == 0, QStringLiteral("reads brought what was never written"));
}

void addProxyFigures(Torture *torture, const ProxyTraffic &traffic)
{
    torture->add("plain_requests", traffic.requests());
    torture->add("plain_completed", traffic.completed());
    torture->add("plain_failed_writes", traffic.failedWrites());
    torture->add("plain_unanswered", traffic.unanswered());
    torture->add("plain_proxies", static_cast<qint64>(traffic.proxies()));
    torture->require(traffic.requests()
                         == traffic.completed() + traffic.failedWrites() + traffic.unanswered(),
                     QStringLiteral("a plain request was completed twice"));
}

void addMemoryFigures(Torture *torture, const MemoryCurve &curve, double warmUpSeconds,
                      int descriptorsBefore, int descriptorsAfter)
{
    constexpr double secondsPerHour = 3600;
    const double heap = curve.slope(&ProcessSample::heapBytes, warmUpSeconds);
    const double resident = curve.slope(&ProcessSample::residentBytes, warmUpSeconds);
    const MemoryCurve::Point &last = curve.points().constLast();
    torture->add("heap_bytes_per_hour", heap * secondsPerHour);
    torture->add("heap_bytes_per_request",
                 heap * last.seconds / static_cast<double>(qMax<qint64>(1, last.requests)));
    torture->add("heap_bytes_per_loss", heap * last.seconds / qMax(1, last.losses));
    torture->add("resident_bytes_per_hour", resident * secondsPerHour);
    torture->add("resident_mb", static_cast<double>(last.sample.residentBytes) / 1e6);
    torture->add("descriptors_before", static_cast<qint64>(descriptorsBefore));
    torture->add("descriptors_after", static_cast<qint64>(descriptorsAfter));
    torture->require(descriptorsAfter <= descriptorsBefore, QStringLiteral("descriptors are left"));
}

int run(Torture *torture)
{
    const Form form(torture->isLong());
    const int rounds = torture->rounds(8, 360);
    FaultyServer server({QStringLiteral("--scenario"), writtenScenario(*torture)},
                        2 * form.silenceLimitMs, torture->seed());
    if (!torture->require(server.start(), QStringLiteral("the server does not start")))
        return torture->finish();
    SessionOptions options = SessionFixture::options();
    options.silenceLimitMs = form.silenceLimitMs;
    options.registrationTimeoutMs = form.silenceLimitMs;
    options.startTimeoutMs = WaitLimitMs;
    DeviceSession session;
    Absences absences(&session, options);
    SessionTraffic traffic(&session, Key, form.timeoutMs, torture->seed());
    ProxyTraffic plainTraffic(OtherKey);
    LoopWatch watch;
    MemoryCurve curve;
    QElapsedTimer clock;
    clock.start();
    const auto seconds = [&clock] { return static_cast<double>(clock.elapsed()) / 1000; };
    session.open(options);
    torture->require(isReady(session), QStringLiteral("the session is not ready at the start"));
    traffic.start();
    plainTraffic.start();
    passInEvents(form.periodMs);
    const int descriptors = ProcessSample::take().descriptors;
    for (int round = 0; round < rounds; ++round) {
        const QString name = server.befall();
        passInEvents(form.periodMs);
        if (!torture->require(server.repair(), QStringLiteral("no server after ") + name)
            || !torture->require(isReady(session), QStringLiteral("not ready after ") + name))
            break;
        curve.add({seconds(), traffic.requests(), absences.count(), ProcessSample::take()});
    }
    const double duration = seconds();
    traffic.stop();
    passInEvents(2 * form.timeoutMs);
    // Whatever a server that was silent still holds goes with it.
    torture->require(server.restart() && isReady(session),
                     QStringLiteral("the session is not ready at the end"));
    passInEvents(2 * form.timeoutMs);
    const int descriptorsAfter = ProcessSample::take().descriptors;
    plainTraffic.stop();

    torture->add("faults", static_cast<qint64>(rounds));
    torture->add("kinds_of_fault", static_cast<qint64>(qMin(rounds, FaultyServer::kinds())));
    torture->add("server_starts", static_cast<qint64>(server.starts()));
    torture->add("losses", static_cast<qint64>(absences.count()));
    torture->add("reopened", static_cast<qint64>(absences.refusals()));
    torture->add("longest_away_ms", absences.longestMs());
    addTrafficFigures(torture, traffic, duration);
    addProxyFigures(torture, plainTraffic);
    addMemoryFigures(torture, curve, form.warmUpSeconds, descriptors, descriptorsAfter);
    torture->add("longest_hold_ms", watch.longestMs());
    if (!torture->curveFile().isEmpty())
        torture->require(curve.writeCsv(torture->curveFile()),
                         QStringLiteral("cannot write ") + torture->curveFile());
    return torture->finish();
}

} // namespace

int main(int argc, char **argv)
{
    Torture torture("soak", argc, argv);
    setTestFolder(torture.folder());
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QCoreApplication application(argc, argv);
    return run(&torture);
}
