// How fast a transfer moves data between the application and the simulated server, by chunk and
// window, beside the pace of one message in 10 ms.
#include "Bench.h"
#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "PeerProcess.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

namespace {

constexpr int KiB = 1024;
constexpr int MemoryBytes = 16 * 1024 * KiB;
constexpr double PaceNs = 10e6;
constexpr int LimitMs = 60000;
constexpr int Chunks = 64;
constexpr int QuickChunks = 16;
const EquipmentAddress Address(QStringLiteral("COM1"), 0);

QByteArray pattern()
{
    QByteArray bytes(MemoryBytes, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 65521);
    return bytes;
}

/// Moves part of the pattern and tells how long one chunk took, from the end of the first to the
/// end of the last: what it takes to get going is no matter of the speed.
class Mover
{
public:
    Mover(Bench *bench, DeviceSession *session)
        : m_bench(bench)
        , m_session(session)
    { }

    double read(int chunkBytes, int window)
    {
        return move(chunkBytes, window,
                    [](DeviceTransfer *transfer, int bytes) { transfer->read(Address, bytes); });
    }
    double write(int chunkBytes, int window)
    {
        return move(chunkBytes, window, [this](DeviceTransfer *transfer, int bytes) {
            transfer->write(Address, m_pattern.left(bytes));
        });
    }

private:
    template <typename Start>
    double move(int chunkBytes, int window, Start start)
    {
        const int chunks = m_bench->isQuick() ? QuickChunks : Chunks;
        const int chunksAtOnce = qMin(chunks, MemoryBytes / chunkBytes);
        double nanoseconds = 0;
        int counted = 0;
        for (int left = chunks; left > 0; left -= chunksAtOnce) {
            nanoseconds += moveOnce(chunkBytes, window, chunksAtOnce * chunkBytes, start);
            counted += chunksAtOnce - 1;
        }
        return nanoseconds / counted;
    }

    template <typename Start>
    double moveOnce(int chunkBytes, int window, int bytes, Start start)
    {
        DeviceTransfer transfer(m_session);
        transfer.setChunkBytes(chunkBytes);
        transfer.setWindow(window);
        QElapsedTimer timer;
        qint64 nanoseconds = 0;
        QObject::connect(&transfer, &DeviceTransfer::progress, [&](qint64 done, qint64 total) {
            if (!timer.isValid())
                timer.start();
            else if (done == total)
                nanoseconds = timer.nsecsElapsed();
        });
        QEventLoop loop;
        QObject::connect(&transfer, &DeviceTransfer::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(LimitMs, &loop, &QEventLoop::quit);
        start(&transfer, bytes);
        loop.exec();
        m_bench->require(transfer.isFinished() && transfer.error() == SessionError::Code::None
                             && transfer.data() == m_pattern.left(bytes),
                         QStringLiteral("a transfer failed: ") + transfer.errorString());
        return double(nanoseconds);
    }

    Bench *const m_bench;
    DeviceSession *const m_session;
    const QByteArray m_pattern = pattern();
};

bool startServer(const Bench &bench, PeerProcess *server)
{
    QFile config(bench.folder() + QLatin1String("/equipment.json"));
    const QByteArray text = "{\"equipment\": [{\"key\": \"COM1\", \"kind\": \"controller\", "
                            "\"memory\": "
        + QByteArray::number(MemoryBytes) + "}]}";
    return config.open(QIODevice::WriteOnly) && config.write(text) == text.size() && config.flush()
        && server->start(QStringLiteral(KSPROXY_SERVER_PROGRAM),
                         {QStringLiteral("--config"), config.fileName()});
}

bool open(DeviceSession *session)
{
    SessionOptions options;
    options.startsServer = false;
    QEventLoop loop;
    QObject::connect(session, &DeviceSession::stateChanged, &loop, [&](DeviceSession::State state) {
        if (state == DeviceSession::State::Ready || state == DeviceSession::State::Closed)
            loop.quit();
    });
    session->open(options);
    loop.exec();
    return session->state() == DeviceSession::State::Ready;
}

void run(Bench *bench, DeviceSession *session)
{
    Mover mover(bench, session);
    mover.write(MemoryBytes / 16, 8); // what the reads find there
    std::vector<Contestant> contestants;
    for (const int kibibytes : {4, 64, 256, 1024}) {
        const int chunkBytes = kibibytes * KiB;
        const QString chunk = kibibytes < 1024 ? QStringLiteral("%1 KiB").arg(kibibytes)
                                               : QStringLiteral("%1 MiB").arg(kibibytes / 1024);
        for (const int window : {1, 8}) {
            const QString caseName = QStringLiteral("%1, window %2").arg(chunk).arg(window);
            contestants.push_back(
                {QStringLiteral("read"), caseName, QStringLiteral("ns"),
                 [&, chunkBytes, window] { return mover.read(chunkBytes, window); }});
            contestants.push_back({QStringLiteral("one message in 10 ms"), caseName,
                                   QStringLiteral("ns"), [] { return PaceNs; }});
        }
        const QString caseName = QStringLiteral("%1, window 8").arg(chunk);
        contestants.push_back({QStringLiteral("write"), caseName, QStringLiteral("ns"),
                               [&, chunkBytes] { return mover.write(chunkBytes, 8); }});
    }
    bench->compete(contestants);
}

} // namespace

int main(int argc, char **argv)
{
    Bench bench("bench_transfer", argc, argv);
    PeerProcess server;
    if (bench.require(startServer(bench, &server), QStringLiteral("the server does not start"))) {
        DeviceSession session;
        if (bench.require(open(&session), QStringLiteral("the session does not open")))
            run(&bench, &session);
    }
    return bench.finish();
}
