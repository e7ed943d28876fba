// How fast bodies of several sizes arrive from another process, received by the library, by plain
// Qt and by what else there is.
#include "BareSocket.h"
#include "Bench.h"
#include "ClientSignal.h"
#include "DataStreamSocket.h"
#include "PeerProcess.h"
#include "ProxyQueue.h"
#ifdef KSPROXY_REMOTE_OBJECTS_WRITER
#include "RemoteObjects.h"
#endif
#ifdef KSPROXY_DBUS_WRITER
#include "DBus.h"
#endif
#ifdef KSPROXY_ZEROMQ_WRITER
#include "ZeroMq.h"
#endif

namespace {

struct Size
{
    const char *name;
    int bodyBytes;
    int bytes; // in one order
    int orders; // for one sample
};

constexpr int KiB = 1024;
constexpr int MiB = 1024 * KiB;
constexpr Size Sizes[] = {{"16 B", 16, 8 * MiB, 1},
                          {"256 B", 256, 32 * MiB, 1},
                          {"4 KiB", 4 * KiB, 64 * MiB, 1},
                          {"64 KiB", 64 * KiB, 64 * MiB, 1},
                          {"one of 16 MiB", 16 * MiB, 16 * MiB, 4}};
constexpr int QuickShare = 4;
// What takes microseconds for each body gets fewer of them.
constexpr int SlowBodies = 20000;

class Contest
{
public:
    explicit Contest(Bench *bench)
        : m_bench(bench)
    { }

    void startWriter(const char *program)
    {
        m_writers.push_back(std::make_unique<PeerProcess>());
        m_bench->require(m_writers.back()->start(QString::fromUtf8(program)),
                         QStringLiteral("a writer does not start"));
    }

    void add(const char *what, std::unique_ptr<Receiver> receiver, bool isSlow = false)
    {
        if (!m_bench->require(receiver->open(), QStringLiteral("no connection to a writer")))
            return;
        for (const Size &size : Sizes) {
            m_contestants.push_back({QString::fromUtf8(what), QString::fromUtf8(size.name),
                                     QStringLiteral("ns"),
                                     [this, size, isSlow, receiver = receiver.get()] {
                                         return sample(size, isSlow, receiver);
                                     }});
        }
        m_receivers.push_back(std::move(receiver));
    }

    void run()
    {
        m_bench->compete(m_contestants);
    }

private:
    double sample(const Size &size, bool isSlow, Receiver *receiver)
    {
        int count = size.bytes / size.bodyBytes;
        if (isSlow)
            count = qMin(count, SlowBodies);
        if (m_bench->isQuick())
            count = qMax(1, count / QuickShare);
        double sum = 0;
        for (int i = 0; i < size.orders; ++i) {
            const double nanoseconds = receiver->receive({size.bodyBytes, count});
            if (!m_bench->require(nanoseconds > 0, QStringLiteral("bodies were lost")))
                return 0;
            sum += nanoseconds;
        }
        return sum / size.orders;
    }

    Bench *const m_bench;
    std::vector<std::unique_ptr<PeerProcess>> m_writers;
    std::vector<std::unique_ptr<Receiver>> m_receivers;
    std::vector<Contestant> m_contestants;
};

} // namespace

int main(int argc, char **argv)
{
    Bench bench("bench_receive", argc, argv);
    Contest contest(&bench);
    contest.startWriter(KSPROXY_FRAME_WRITER);
    contest.add("bare socket", std::make_unique<BareSocket>());
    contest.add("socket client", std::make_unique<ClientSignal>());
    contest.add("proxy, text", std::make_unique<ProxyQueue>(TarnEnum::TextPackage));
    contest.add("proxy, bytes", std::make_unique<ProxyQueue>(TarnEnum::ByteArrayPackage));
    contest.add("QDataStream", std::make_unique<DataStreamSocket>());
#ifdef KSPROXY_REMOTE_OBJECTS_WRITER
    contest.startWriter(KSPROXY_REMOTE_OBJECTS_WRITER);
    contest.add("Qt Remote Objects", std::make_unique<RemoteObjects>(), true);
#endif
#ifdef KSPROXY_DBUS_WRITER
    contest.startWriter(KSPROXY_DBUS_WRITER);
    contest.add("QtDBus", std::make_unique<DBus>(), true);
#endif
#ifdef KSPROXY_ZEROMQ_WRITER
    contest.startWriter(KSPROXY_ZEROMQ_WRITER);
    contest.add("ZeroMQ", std::make_unique<ZeroMq>());
#endif
    contest.run();
    return bench.finish();
}
