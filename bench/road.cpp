// A request's whole road: queued, sent, answered by another process, matched, completed. Beside it
// the bound that the two tickers set for the very same requests: what a library that loses no time,
// with a server that takes none, would need between the first beat that can send and the first beat
// after that which can complete.
#include "Bench.h"
#include "MsgThread.h"
#include "PackageRequestReadData.h"
#include "PeerProcess.h"
#include "TestProxy.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <random>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int TickerIntervalMs = 10;
constexpr int RegistrationLimitMs = 5000;
constexpr int LimitMs = 20000;
// How far apart the two tickers beat decides the road's length, and hardly changes by itself.
constexpr int Offsets = 20;
constexpr int RequestsPerOffset = 20;
constexpr int QuickOffsets = 10;
constexpr int QuickRequestsPerOffset = 5;
constexpr int Queued = 100;
const QString Nanoseconds = QStringLiteral("ns");

double ns(Clock::duration duration)
{
    return double(std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count());
}

void runFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// When a ticker has beaten, as seen on its own thread.
class Beats
{
public:
    explicit Beats(MsgThread *ticker)
    {
        QObject::connect(
            ticker, &MsgThread::doInfo, ticker,
            [this] {
                const std::lock_guard lock(m_mutex);
                m_times.push_back(Clock::now());
            },
            Qt::DirectConnection);
    }

    /// The \a nth beat after \a time. Waits for it: a ticker may be late to write it down.
    Clock::time_point after(Clock::time_point time, int nth = 1) const
    {
        Clock::time_point beat;
        while (!find(time, nth, &beat))
            runFor(1);
        return beat;
    }

private:
    bool find(Clock::time_point time, int nth, Clock::time_point *beat) const
    {
        const std::lock_guard lock(m_mutex);
        const auto first = std::upper_bound(m_times.cbegin(), m_times.cend(), time);
        if (m_times.cend() - first < nth)
            return false;
        *beat = *(first + nth - 1);
        return true;
    }

    mutable std::mutex m_mutex;
    std::vector<Clock::time_point> m_times;
};

struct Road
{
    double took;
    double bound;
};

class Traveller
{
public:
    explicit Traveller(Bench *bench)
        : m_bench(bench)
    { }

    bool open()
    {
        m_proxy->Initalize();
        m_sendBeats = std::make_unique<Beats>(TestAccess::sendThread(*m_proxy));
        m_notifyBeats = std::make_unique<Beats>(TestAccess::notifyThread(*m_proxy));
        m_proxy->Register(QString(), nullptr, QString());
        for (int waited = 0; m_proxy->ServerVer().isEmpty() && waited < RegistrationLimitMs;
             waited += TickerIntervalMs)
            runFor(TickerIntervalMs);
        return !m_proxy->ServerVer().isEmpty();
    }

    ~Traveller()
    {
        m_proxy.destroy(); // the beats are recorded until the tickers have stopped
    }

    /// One at a time, each at a moment of its own, with the tickers this and that far apart.
    std::vector<Road> oneByOne(int offsets, int requestsPerOffset)
    {
        std::vector<Road> roads;
        for (int i = 0; i < offsets; ++i) {
            shift(TickerIntervalMs * (i + 1) / offsets);
            for (int request = 0; request < requestsPerOffset; ++request) {
                runFor(std::uniform_int_distribution(0, TickerIntervalMs)(m_random));
                QThread::usleep(std::uniform_int_distribution<unsigned long>(0, 999)(m_random));
                roads.push_back(travel(1));
            }
        }
        return roads;
    }

    /// So many together; until the last is completed.
    Road travel(int requests)
    {
        int completed = 0;
        QEventLoop loop;
        const Clock::time_point begin = Clock::now();
        Clock::time_point end = begin;
        for (int i = 0; i < requests; ++i) {
            auto *const request = new PackageRequestReadData;
            request->setServerConnectionKey(QStringLiteral("COM1"));
            request->setReadLength(4);
            request->setCompletionHandler([&, request](void *, PackageBase *reply) {
                m_bench->require(reply->getCommResult() == TarnEnum::Success
                                     && reply->getDataLength() == 4
                                     && reply->getSerialNum() == request->getSerialNum(),
                                 QStringLiteral("a request was not answered well"));
                end = Clock::now();
                request->deleteLater();
                if (++completed == requests)
                    loop.quit();
            });
            m_proxy->SendRequestReadData(request);
        }
        QTimer::singleShot(LimitMs, &loop, &QEventLoop::quit);
        loop.exec();
        if (completed < requests)
            qFatal("bench_road: a request was not answered");
        const Clock::time_point sent = m_sendBeats->after(begin, requests);
        return {ns(end - begin), ns(m_notifyBeats->after(sent) - begin)};
    }

private:
    void shift(int milliseconds)
    {
        MsgThread *const ticker = TestAccess::sendThread(*m_proxy);
        ticker->setInterval(TickerIntervalMs + milliseconds);
        runFor(TickerIntervalMs);
        ticker->setInterval(TickerIntervalMs);
        runFor(3 * TickerIntervalMs);
    }

    Bench *const m_bench;
    std::unique_ptr<Beats> m_sendBeats;
    std::unique_ptr<Beats> m_notifyBeats;
    TestProxy m_proxy;
    std::mt19937 m_random{1};
};

double quantile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values.at(static_cast<size_t>(share * double(values.size() - 1)));
}

void addQuantiles(Bench *bench, const QString &what, const std::vector<double> &values)
{
    bench->add(what, QStringLiteral("median"), Nanoseconds, quantile(values, 0.5));
    bench->add(what, QStringLiteral("99th percentile"), Nanoseconds, quantile(values, 0.99));
}

// Two tickers that beat every 10 ms to the nanosecond, any time apart: for orientation.
std::vector<double> idealRoads(int count)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> wait(0, TickerIntervalMs * 1e6);
    std::vector<double> roads(static_cast<size_t>(count));
    std::generate(roads.begin(), roads.end(), [&] { return wait(random) + wait(random); });
    return roads;
}

void takeRound(Bench *bench, Traveller *traveller)
{
    std::vector<double> took;
    std::vector<double> bound;
    const std::vector<Road> roads = bench->isQuick()
        ? traveller->oneByOne(QuickOffsets, QuickRequestsPerOffset)
        : traveller->oneByOne(Offsets, RequestsPerOffset);
    for (const Road &road : roads) {
        took.push_back(road.took);
        bound.push_back(road.bound);
    }
    addQuantiles(bench, QStringLiteral("one at a time"), took);
    addQuantiles(bench, QStringLiteral("bound of the tickers"), bound);
    addQuantiles(bench, QStringLiteral("bound of ideal tickers"), idealRoads(10000));

    runFor(3 * TickerIntervalMs); // beats that piled up meanwhile would send some at once
    const QString caseName = QStringLiteral("%1 queued together").arg(Queued);
    const Road queued = traveller->travel(Queued);
    bench->add(QStringLiteral("queued together"), caseName, Nanoseconds, queued.took);
    bench->add(QStringLiteral("bound of the tickers"), caseName, Nanoseconds, queued.bound);
}

} // namespace

int main(int argc, char **argv)
{
    Bench bench("bench_road", argc, argv);
    PeerProcess server;
    if (bench.require(server.start(QStringLiteral(KSPROXY_SERVER_PROGRAM)),
                      QStringLiteral("the server does not start"))) {
        Traveller traveller(&bench);
        if (bench.require(traveller.open(), QStringLiteral("no registration"))) {
            for (int round = 0; round < bench.rounds(); ++round)
                takeRound(&bench, &traveller);
        }
    }
    return bench.finish();
}
