// What a registered proxy costs while nothing happens, beside the two tickers that it must have.
#include "Bench.h"
#include "MsgThread.h"
#include "PeerProcess.h"
#include "TestProxy.h"

#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <sys/resource.h>

#include <ctime>
#include <memory>

namespace {

constexpr int TickerIntervalMs = 10;
constexpr int WarmUpMs = 200;
constexpr int WindowMs = 2000;
constexpr int QuickWindowMs = 500;
constexpr int RegistrationLimitMs = 5000;
constexpr int NsPerSecond = 1000000000;

void runFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

double processorNs()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * NsPerSecond + double(time.tv_nsec);
}

double wakeUps()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_nvcsw);
}

/// Receives the beats of two tickers and does nothing.
class EmptyLoops : public QObject
{
    Q_OBJECT

public:
    EmptyLoops()
    {
        for (const auto &ticker : m_tickers) {
            connect(ticker.get(), &MsgThread::doInfo, this, &EmptyLoops::take,
                    Qt::QueuedConnection);
            ticker->start(QThread::InheritPriority);
        }
    }
    ~EmptyLoops() override
    {
        for (const auto &ticker : m_tickers)
            ticker->setStop(true);
        for (const auto &ticker : m_tickers)
            ticker->wait();
    }

    int beats() const
    {
        return m_beats;
    }

private:
    void take(bool)
    {
        ++m_beats;
    }

    const std::unique_ptr<MsgThread> m_tickers[2]
        = {std::make_unique<MsgThread>(TickerIntervalMs, nullptr),
           std::make_unique<MsgThread>(TickerIntervalMs, nullptr)};
    int m_beats = 0;
};

void measure(Bench *bench, const QString &what)
{
    runFor(WarmUpMs);
    const int windowMs = bench->isQuick() ? QuickWindowMs : WindowMs;
    const double nsBefore = processorNs();
    const double wakeUpsBefore = wakeUps();
    runFor(windowMs);
    const double seconds = windowMs / 1000.0;
    bench->add(what, QStringLiteral("processor time in a second"), QStringLiteral("ns"),
               (processorNs() - nsBefore) / seconds);
    bench->add(what, QStringLiteral("wake-ups in a second"), QString(),
               (wakeUps() - wakeUpsBefore) / seconds);
}

void measureProxy(Bench *bench)
{
    const TestProxy proxy;
    proxy->Initalize();
    proxy->Register(QString(), nullptr, QString());
    for (int waited = 0; proxy->ServerVer().isEmpty() && waited < RegistrationLimitMs;
         waited += TickerIntervalMs)
        runFor(TickerIntervalMs);
    if (bench->require(!proxy->ServerVer().isEmpty(), QStringLiteral("no registration")))
        measure(bench, QStringLiteral("idle proxy"));
}

void measureTickers(Bench *bench)
{
    const EmptyLoops loops;
    measure(bench, QStringLiteral("two tickers"));
    bench->require(loops.beats() > 0, QStringLiteral("the tickers do not tick"));
}

// Without the heartbeat that the simulated server sends otherwise.
bool startServer(const Bench &bench, PeerProcess *server)
{
    QFile scenario(bench.folder() + QLatin1String("/silent.json"));
    return scenario.open(QIODevice::WriteOnly) && scenario.write("{\"heartbeat\": 0}") > 0
        && scenario.flush()
        && server->start(QStringLiteral(KSPROXY_SERVER_PROGRAM),
                         {QStringLiteral("--scenario"), scenario.fileName()});
}

} // namespace

int main(int argc, char **argv)
{
    Bench bench("bench_idle", argc, argv);
    PeerProcess server;
    if (bench.require(startServer(bench, &server), QStringLiteral("the server does not start"))) {
        for (int round = 0; round < bench.rounds(); ++round) {
            const bool isProxyFirst = round % 2 == 0;
            if (isProxyFirst)
                measureProxy(&bench);
            measureTickers(&bench);
            if (!isProxyFirst)
                measureProxy(&bench);
        }
    }
    return bench.finish();
}

#include "idle.moc"
