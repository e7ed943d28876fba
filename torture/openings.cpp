#include "EventWait.h"
#include "OpenDescriptors.h"
#include "SessionFixture.h"
#include "SteeredServer.h"
#include "Torture.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QLoggingCategory>

#include <algorithm>
#include <malloc.h>
#include <vector>

using State = DeviceSession::State;

namespace {

constexpr int RoundsBefore = 10; // whatever is made once is made by then
constexpr qint64 GrowthPerRound = 64; // bytes; less than any object that a round could leave behind
constexpr int JudgedRounds = 1000; // over fewer the heap's own ups and downs are more than that

constexpr size_t Reserved = 10000; // so that what is kept of each round is not taken for growth

/// A session that is opened, used once and closed, again and again: the same, or a new one.
class Openings
{
public:
    explicit Openings(Torture *torture)
        : m_torture(torture)
    { }

    bool start();
    void run(bool isOneObject, int rounds);
    void addFigures();

private:
    bool goRound();
    int clientsOfTheServer();

    Torture *const m_torture;
    SteeredServer m_server;
    std::unique_ptr<DeviceSession> m_session;
    std::vector<qint64> m_openMs;
    int m_descriptorsBefore = 0;
    qint64 m_growth = 0;
    qint64 m_measuredRounds = 0;
};

bool Openings::start()
{
    m_session = std::make_unique<DeviceSession>();
    m_openMs.reserve(Reserved);
    const bool isStarted = m_torture->require(m_server.start(), QStringLiteral("no server"));
    m_descriptorsBefore = openDescriptors();
    return isStarted;
}

bool Openings::goRound()
{
    QElapsedTimer clock;
    clock.start();
    if (!m_session->open(SessionFixture::options())
        || !waitInEvents([this] { return m_session->state() == State::Ready; }))
        return false;
    m_openMs.push_back(clock.elapsed());
    const std::unique_ptr<DeviceReply> reply(m_session->read({QStringLiteral("COM1"), 0}, 4));
    const bool isRead = waitInEvents([&reply] { return reply->isFinished(); })
        && reply->error() == SessionError::Code::None;
    m_session->close();
    // Called from no event loop, so none would do it.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return isRead;
}

void Openings::run(bool isOneObject, int rounds)
{
    qint64 heap = 0;
    int descriptors = 0;
    for (int i = 0; i < RoundsBefore + rounds; ++i) {
        if (i == RoundsBefore) {
            heap = static_cast<qint64>(mallinfo2().uordblks);
            descriptors = openDescriptors();
        }
        if (!isOneObject)
            m_session = std::make_unique<DeviceSession>();
        if (!m_torture->require(goRound(), QStringLiteral("round %1 fails").arg(i)))
            return;
    }
    const qint64 growth = static_cast<qint64>(mallinfo2().uordblks) - heap;
    m_growth += growth;
    m_measuredRounds += rounds;
    m_torture->require(openDescriptors() == descriptors, QStringLiteral("descriptors stay open"));
#ifdef KSPROXY_MEASURES_HEAP
    m_torture->require(rounds < JudgedRounds || growth < rounds * GrowthPerRound,
                       QStringLiteral("%1 bytes more after %2 rounds").arg(growth).arg(rounds));
#endif
}

int Openings::clientsOfTheServer()
{
    const QJsonObject status = m_server.control.call(R"({"do":"status"})");
    return status.value(QLatin1String("clients")).toArray().size();
}

void Openings::addFigures()
{
    const int clients = clientsOfTheServer();
    m_torture->require(clients == 1, QStringLiteral("%1 connections").arg(clients));
    std::sort(m_openMs.begin(), m_openMs.end());
    m_torture->add("openings", static_cast<qint64>(m_openMs.size()));
    m_torture->add("connections", static_cast<qint64>(clients));
    m_torture->add("descriptors_more",
                   static_cast<qint64>(openDescriptors() - m_descriptorsBefore));
    m_torture->add("heap_bytes_per_opening",
                   static_cast<double>(m_growth) / static_cast<double>(m_measuredRounds));
    m_torture->add("median_open_ms", m_openMs[m_openMs.size() / 2]);
    m_torture->add("slowest_open_ms", m_openMs.back());
}

} // namespace

/// Nothing piles up over many openings, and they all share one connection.
int main(int argc, char **argv)
{
    Torture torture("openings", argc, argv);
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    Openings openings(&torture);
    const int rounds = torture.rounds(15, 1000);
    if (openings.start()) {
        openings.run(true, rounds);
        openings.run(false, rounds);
        openings.addFigures();
    }
    return torture.finish();
}
