#include "EventWait.h"
#include "KilledServer.h"
#include "ObjectCount.h"
#include "ProcessSample.h"
#include "ProxyKill.h"
#include "ServerProcess.h"
#include "SessionKill.h"
#include "Spread.h"
#include "TestMain.h"
#include "Torture.h"
#include "WorkerPool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <array>
#include <vector>

using Direction = KilledServer::Direction;

namespace {

// One short key, and nothing that comes by itself.
const QByteArray Scenario
    = R"({"heartbeat": 0, "equipment": [{"key": "A", "kind": "controller"}]})";
constexpr int SampleEvery = 5; // of how many sessions one comes back to a new server

struct Task
{
    bool isSession;
    Direction direction;
    int position;
};

/// The simulated server behind those that are killed, in a folder of its own.
class Backstage
{
public:
    Backstage()
        : m_folder(testFolder() + QLatin1String("/s"))
    {
        QDir().mkpath(m_folder);
    }

    bool start()
    {
        QFile file(m_folder + QLatin1String("/scenario.json"));
        if (!file.open(QIODevice::WriteOnly) || file.write(Scenario) != Scenario.size())
            return false;
        file.close();
        const QByteArray folder = qgetenv("TMPDIR");
        qputenv("TMPDIR", m_folder.toLocal8Bit());
        m_process.sendErrorsTo(QProcess::nullDevice());
        const bool isStarted = m_process.start({QStringLiteral("--scenario"), file.fileName()});
        qputenv("TMPDIR", folder);
        return isStarted;
    }

    QString socketPath() const
    {
        return m_folder + QLatin1String("/tarnSver");
    }

private:
    const QString m_folder;
    ServerProcess m_process;
};

KillOutcome killedSession(KilledServer *server, bool comesBack)
{
    SessionKill kill(server);
    kill.run();
    if (comesBack)
        kill.comeBack();
    return kill.outcome();
}

KillOutcome killedProxy(KilledServer *server)
{
    ProxyKill kill(server);
    kill.run();
    return kill.outcome();
}

KillOutcome carryOut(const Task &task, KilledServer *server, bool comesBack)
{
    const qint64 heap = ProcessSample::take().heapBytes;
    const int objects = ObjectCount::alive();
    if (!server->start(task.direction, task.position))
        qFatal("no socket to listen on");
    KillOutcome outcome = task.isSession ? killedSession(server, comesBack) : killedProxy(server);
    server->kill();
    // What goes later has gone then.
    passInEvents(1);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    outcome.isSession = task.isSession;
    outcome.isToServer = task.direction == Direction::ToServer;
    outcome.position = task.position;
    outcome.objects = ObjectCount::alive() - objects;
    outcome.heapBytes = static_cast<int>(ProcessSample::take().heapBytes - heap);
    return outcome;
}

// What passes when nothing happens, as two outcomes for each kind of client.
int recordLengths(const WorkerPool::Report &report)
{
    Backstage backstage;
    KilledServer server(backstage.socketPath());
    if (!backstage.start() || !server.start())
        return 1;
    const auto reportBoth = [&](KillOutcome outcome) {
        for (const Direction direction : {Direction::ToServer, Direction::ToClient}) {
            outcome.isToServer = direction == Direction::ToServer;
            outcome.passed = server.passed(direction);
            report(outcome);
        }
    };
    {
        SessionKill session(&server);
        session.runUndisturbed();
        reportBoth(session.outcome());
    }
    server.start();
    ProxyKill proxy(&server);
    proxy.runUndisturbed();
    reportBoth(proxy.outcome());
    return 0;
}

std::vector<Task> tasks(const QList<KillOutcome> &lengths, int stride)
{
    std::vector<Task> tasks;
    for (const KillOutcome &length : lengths) {
        const Direction direction = length.isToServer ? Direction::ToServer : Direction::ToClient;
        for (int position = 1; position <= length.passed; position += stride)
            tasks.push_back({length.isSession, direction, position});
    }
    return tasks;
}

int carryOutShare(const std::vector<Task> &all, int number, int workers,
                  const WorkerPool::Report &report)
{
    ObjectCount::start();
    Backstage backstage;
    if (!backstage.start())
        return 1;
    KilledServer server(backstage.socketPath());
    // The first time makes what is made once.
    carryOut({true, Direction::ToServer, 1}, &server, false);
    carryOut({false, Direction::ToServer, 1}, &server, false);
    int sessions = number;
    for (size_t i = static_cast<size_t>(number); i < all.size(); i += static_cast<size_t>(workers))
        report(carryOut(all[i], &server, all[i].isSession && ++sessions % SampleEvery == 0));
    return 0;
}

/// The figures of the runs of one kind.
class Summary
{
public:
    Summary(const QList<KillOutcome> &outcomes, bool isSession)
    {
        for (const KillOutcome &outcome : outcomes) {
            if (outcome.isSession == isSession)
                m_outcomes.append(outcome);
        }
    }

    template <typename Value>
    qint64 sum(Value KillOutcome::*what) const
    {
        qint64 total = 0;
        for (const KillOutcome &outcome : m_outcomes)
            total += outcome.*what;
        return total;
    }

    /// Without those that are negative.
    Spread spread(double KillOutcome::*what) const
    {
        Spread spread;
        for (const KillOutcome &outcome : m_outcomes) {
            if (outcome.*what >= 0)
                spread.add(outcome.*what);
        }
        return spread;
    }

    int count() const
    {
        return m_outcomes.size();
    }

private:
    QList<KillOutcome> m_outcomes;
};

// Each connection leaves its socket client behind, with a socket and that one's own; each process
// of the pool a spare proxy of the last session besides.
void addLeftovers(Torture *torture, const Summary &summary, int returns, int spares,
                  const std::array<const char *, 2> &names)
{
    constexpr int objectsOfConnection = 3;
    constexpr int objectsOfSpare = 8;
    const int connections = summary.count() + returns;
    const qint64 objects = summary.sum(&KillOutcome::objects);
    torture->add(names[0], static_cast<double>(objects) / qMax(1, connections));
    torture->add(names[1],
                 static_cast<double>(summary.sum(&KillOutcome::heapBytes)) / qMax(1, connections));
    torture->require(objects <= objectsOfConnection * connections + objectsOfSpare * spares,
                     QStringLiteral("objects are left that need not be kept"));
}

void judgeSessions(Torture *torture, const Summary &sessions, int workers)
{
    const Spread notice = sessions.spread(&KillOutcome::noticeMs);
    const Spread back = sessions.spread(&KillOutcome::backMs);
    torture->add("session_kills", static_cast<qint64>(sessions.count()));
    torture->add("session_ready_before", sessions.sum(&KillOutcome::wasReady));
    torture->add("session_good", sessions.sum(&KillOutcome::good));
    torture->add("session_lost", sessions.sum(&KillOutcome::lost));
    torture->add("session_other_ends", sessions.sum(&KillOutcome::odd));
    torture->add("session_ended_twice", sessions.sum(&KillOutcome::twice));
    torture->add("session_unended", sessions.sum(&KillOutcome::unended));
    torture->add("session_good_without_reply", sessions.sum(&KillOutcome::goodWithoutReply));
    torture->add("session_lost_despite_reply", sessions.sum(&KillOutcome::lostDespiteReply));
    torture->add("session_notice_median_ms", notice.median());
    torture->add("session_notice_worst_ms", notice.worst());
    torture->add("session_returns", static_cast<qint64>(back.count()));
    torture->add("session_back_median_ms", back.median());
    torture->add("session_back_worst_ms", back.worst());
    addLeftovers(torture, sessions, back.count(), workers,
                 {"session_objects_left_per_connection", "session_heap_left_per_connection"});
    torture->require(
        sessions.sum(&KillOutcome::odd) == 0,
        QStringLiteral("a request of a session had the wrong end, or no loss was seen"));
    torture->require(sessions.sum(&KillOutcome::twice) == 0
                         && sessions.sum(&KillOutcome::unended) == 0,
                     QStringLiteral("a request of a session did not end once"));
    torture->require(sessions.sum(&KillOutcome::goodWithoutReply) == 0,
                     QStringLiteral("a request of a session ended well without a reply"));
    torture->require(sessions.sum(&KillOutcome::cameBack) == static_cast<qint64>(back.count()),
                     QStringLiteral("a session did not come back"));
}

void judgeProxies(Torture *torture, const Summary &proxies)
{
    const Spread notice = proxies.spread(&KillOutcome::noticeMs);
    torture->add("proxy_kills", static_cast<qint64>(proxies.count()));
    torture->add("proxy_good", proxies.sum(&KillOutcome::good));
    torture->add("proxy_write_failed", proxies.sum(&KillOutcome::lost));
    torture->add("proxy_deleted_pending", proxies.sum(&KillOutcome::kept));
    torture->add("proxy_other_ends", proxies.sum(&KillOutcome::odd));
    torture->add("proxy_ended_twice", proxies.sum(&KillOutcome::twice));
    torture->add("proxy_unended", proxies.sum(&KillOutcome::unended));
    torture->add("proxy_notice_median_ms", notice.median());
    torture->add("proxy_notice_worst_ms", notice.worst());
    addLeftovers(torture, proxies, 0, 0,
                 {"proxy_objects_left_per_connection", "proxy_heap_left_per_connection"});
    torture->require(proxies.sum(&KillOutcome::odd) == 0 && proxies.sum(&KillOutcome::twice) == 0,
                     QStringLiteral("a request of a proxy had the wrong end"));
    torture->require(proxies.sum(&KillOutcome::unended) == 0,
                     QStringLiteral("a proxy left a request of its queue behind"));
}

int run(Torture *torture)
{
    WorkerPool pool(torture->folder());
    const QList<KillOutcome> lengths
        = pool.run(1, [](int, const WorkerPool::Report &report) { return recordLengths(report); });
    for (const KillOutcome &length : lengths) {
        torture->add(length.isSession
                         ? (length.isToServer ? "session_bytes_out" : "session_bytes_in")
                         : (length.isToServer ? "proxy_bytes_out" : "proxy_bytes_in"),
                     static_cast<qint64>(length.passed));
        torture->require(length.good == SessionKill::Requests,
                         QStringLiteral("requests failed although nothing happened"));
    }
    // The rounds are the distance from one byte to the next that a server dies after.
    const int stride = torture->rounds(2503, 1);
    const int workers = torture->isLong() ? 40 : 5;
    const std::vector<Task> all = tasks(lengths, stride);
    const QList<KillOutcome> outcomes
        = pool.run(workers, [&](int number, const WorkerPool::Report &report) {
              return carryOutShare(all, number, workers, report);
          });
    torture->add("kills", static_cast<qint64>(outcomes.size()));
    torture->require(pool.failed() == 0, QStringLiteral("a process of the pool failed"));
    torture->require(outcomes.size() == static_cast<int>(all.size()),
                     QStringLiteral("not every byte had its turn"));
    judgeSessions(torture, Summary(outcomes, true), workers);
    judgeProxies(torture, Summary(outcomes, false));
    return torture->finish();
}

} // namespace

int main(int argc, char **argv)
{
    Torture torture("kill_anywhere", argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    return run(&torture);
}
