#include "EventWait.h"
#include "ProcessSample.h"
#include "SessionFixture.h"
#include "Spread.h"
#include "TestMain.h"
#include "Torture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>

#include <csignal>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int RequestsPerRound = 8;
constexpr int RoundsBefore = 8; // whatever is made once is made by then

enum class Way { Graceful, Killed, HungThenKilled, HungThenContinued };
constexpr int Ways = 4;

/// A session whose server is ended and started again and again, each time in another way.
class Restarts
{
public:
    Restarts(Torture *torture, int silenceLimitMs)
        : m_torture(torture)
        , m_silenceLimitMs(silenceLimitMs)
    {
        QObject::connect(&m_session, &DeviceSession::stateChanged, &m_session, [this](State state) {
            if (state == State::Lost)
                m_isLost = true;
        });
    }

    ~Restarts()
    {
        qDeleteAll(m_replies);
    }

    bool open()
    {
        SessionOptions options = SessionFixture::options();
        options.silenceLimitMs = m_silenceLimitMs;
        return launch() && m_session.open(options) && waitForReady();
    }

    bool round(Way way)
    {
        m_isLost = false;
        makeRequests();
        passInEvents(20); // some have left by then
        const bool isBack = end(way) && waitForReady() && readsOnce();
        const bool haveEnded = isBack && waitInEvents([this] { return m_underWay == 0; });
        if (!haveEnded)
            ++m_unended;
        qDeleteAll(m_replies);
        m_replies.clear();
        return haveEnded;
    }

    /// Has a server go that may still hold connections of a time when it hung.
    bool settle()
    {
        m_isLost = false;
        return end(Way::Killed) && waitForReady();
    }

    void addFigures() const
    {
        m_torture->add("requests", m_requests);
        m_torture->add("good", m_good);
        m_torture->add("connection_lost", m_lost);
        m_torture->add("other_ends", m_odd);
        m_torture->add("ended_twice", m_twice);
        m_torture->add("rounds_with_unended", static_cast<qint64>(m_unended));
        m_torture->add("back_median_ms", m_backMs.median());
        m_torture->add("back_worst_ms", m_backMs.worst());
        m_torture->add("hang_noticed_median_ms", m_hangMs.median());
        m_torture->add("hang_noticed_worst_ms", m_hangMs.worst());
        m_torture->add("silence_limit_ms", static_cast<qint64>(m_silenceLimitMs));
        m_torture->require(m_odd == 0 && m_twice == 0,
                           QStringLiteral("a request had the wrong end, or two"));
        // Half as long again, and a watch that looks ten times a second.
        m_torture->require(m_hangMs.worst() < 1.5 * m_silenceLimitMs + 100,
                           QStringLiteral("a server that hung was noticed too late"));
    }

private:
    Q_DISABLE_COPY_MOVE(Restarts)

    bool launch()
    {
        m_server.launch({});
        const bool isListening = waitInEvents(
            [this] { return m_server.output().contains(QLatin1String("listening ")); });
        m_sinceStart.start();
        return isListening;
    }

    void makeRequests()
    {
        for (int i = 0; i < RequestsPerRound; ++i) {
            DeviceReply *const reply
                = i % 2 == 0 ? m_session.read({Key, 0}, 4) : m_session.write({Key, 4}, "x");
            ++m_requests;
            ++m_underWay;
            m_replies.append(reply);
            QObject::connect(reply, &DeviceReply::finished, reply,
                             [this, reply, hasEnded = false]() mutable {
                                 m_twice += hasEnded ? 1 : 0;
                                 m_underWay -= hasEnded ? 0 : 1;
                                 hasEnded = true;
                                 count(reply->error());
                             });
        }
    }

    void count(Code code)
    {
        if (code == Code::None)
            ++m_good;
        else if (code == Code::ConnectionLost)
            ++m_lost;
        else
            ++m_odd;
    }

    bool waitForLoss()
    {
        return waitInEvents([this] { return m_isLost; });
    }

    bool waitForReady()
    {
        if (!waitInEvents([this] { return m_session.state() == State::Ready; }))
            return false;
        m_backMs.add(static_cast<double>(m_sinceStart.nsecsElapsed()) / 1e6);
        return true;
    }

    bool end(Way way)
    {
        const bool hangs = way == Way::HungThenKilled || way == Way::HungThenContinued;
        if (hangs) {
            QElapsedTimer clock;
            clock.start();
            m_server.sendSignal(SIGSTOP);
            if (!waitForLoss())
                return false;
            m_hangMs.add(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        }
        if (way == Way::HungThenContinued) {
            m_server.sendSignal(SIGCONT);
            m_sinceStart.start();
            return true;
        }
        m_server.sendSignal(way == Way::Graceful ? SIGTERM : SIGKILL);
        return waitInEvents([this] { return !m_server.isRunning(); }) && waitForLoss() && launch();
    }

    bool readsOnce()
    {
        const QScopedPointer<DeviceReply> reply(m_session.read({Key, 0}, 4));
        return waitInEvents([&] { return reply->isFinished(); }) && reply->error() == Code::None;
    }

    Torture *const m_torture;
    const int m_silenceLimitMs;
    ServerProcess m_server;
    DeviceSession m_session;
    QElapsedTimer m_sinceStart; // of the server
    QList<DeviceReply *> m_replies;
    bool m_isLost = false;
    int m_underWay = 0;
    int m_unended = 0;
    qint64 m_requests = 0;
    qint64 m_good = 0;
    qint64 m_lost = 0;
    qint64 m_odd = 0;
    qint64 m_twice = 0;
    Spread m_backMs;
    Spread m_hangMs;
};

void judgeMemory(Torture *torture, const ProcessSample &before, const ProcessSample &after,
                 int rounds)
{
    torture->add("descriptors_before", static_cast<qint64>(before.descriptors));
    torture->add("descriptors_after", static_cast<qint64>(after.descriptors));
    torture->add("heap_bytes_per_restart",
                 static_cast<double>(after.heapBytes - before.heapBytes) / rounds);
    torture->add("resident_bytes_per_restart",
                 static_cast<double>(after.residentBytes - before.residentBytes) / rounds);
    torture->require(after.descriptors == before.descriptors,
                     QStringLiteral("descriptors are left"));
}

int run(Torture *torture)
{
    const int rounds = torture->rounds(4, 1000);
    Restarts restarts(torture, torture->isLong() ? 1200 : 800);
    if (!torture->require(restarts.open(), QStringLiteral("the session is not ready at the start")))
        return torture->finish();
    const int roundsBefore = torture->isLong() ? RoundsBefore : 0;
    for (int i = 0; i < roundsBefore; ++i)
        restarts.round(static_cast<Way>(i % Ways));
    torture->require(restarts.settle(), QStringLiteral("not ready again before the first round"));
    const ProcessSample before = ProcessSample::take();
    int good = 0;
    while (good < rounds && restarts.round(static_cast<Way>(good % Ways)))
        ++good;
    torture->require(good == rounds && restarts.settle(),
                     QStringLiteral("not ready again after round %1").arg(good));
    torture->add("restarts", static_cast<qint64>(good));
    restarts.addFigures();
    judgeMemory(torture, before, ProcessSample::take(), rounds);
    return torture->finish();
}

} // namespace

int main(int argc, char **argv)
{
    Torture torture("restarts", argc, argv);
    setTestFolder(torture.folder());
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QCoreApplication application(argc, argv);
    return run(&torture);
}
