// Cutting small frames out of what arrived, in one chunk and in pieces, with a receiver behind it.
#include "BenchmarkMain.h"
#include "FrameCodec.h"
#include "FrameReader.h"

#include <QObject>
#include <QPointer>
#include <QVector>
#include <QtEndian>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

constexpr int KiB = 1024;
constexpr int MiB = 1024 * KiB;
constexpr int BodyBytes = 16;

} // namespace

/// Hands on payloads as the socket client does.
class PayloadSource : public QObject
{
    Q_OBJECT

public:
    /// In pieces of \a size, as from a socket, whose read copies.
    void take(const QByteArray &bytes, int size)
    {
        for (int begin = 0; begin < bytes.size();) {
            const FrameReader::Room room = m_reader.room(qMin(size, bytes.size() - begin));
            std::memcpy(room.data, bytes.constData() + begin, static_cast<size_t>(room.size));
            m_reader.commit(room.size);
            begin += room.size;
            emitCompleteFrames();
        }
    }

Q_SIGNALS:
    void receivedInfos(QByteArray infos);

private:
    void emitCompleteFrames()
    {
        QByteArray payload;
        if (!m_reader.takeFrame(&payload))
            return;
        const QPointer<PayloadSource> self(this);
        do {
            Q_EMIT receivedInfos(payload);
            if (!self)
                return;
        } while (m_reader.takeFrame(&payload));
    }

    FrameReader m_reader;
};

/// Counts what it gets, and looks at each payload's last byte, which is the low byte of its number.
class PayloadCounter : public QObject
{
    Q_OBJECT

public:
    void restart()
    {
        m_frames = 0;
        m_isGood = true;
    }
    bool hasAll(int frames) const
    {
        return m_isGood && m_frames == frames;
    }

public Q_SLOTS:
    void take(const QByteArray &infos)
    {
        m_isGood = m_isGood && infos.size() == BodyBytes
            && infos.at(BodyBytes - 1) == static_cast<char>(m_frames);
        ++m_frames;
    }

private:
    int m_frames = 0;
    bool m_isGood = true;
};

namespace {

QByteArray stream(int bytes)
{
    QByteArray all;
    all.reserve(bytes);
    QByteArray body(BodyBytes, 'x');
    for (int i = 0; all.size() + FrameCodec::LengthBytes + BodyBytes <= bytes; ++i) {
        body[BodyBytes - 1] = static_cast<char>(i);
        all += FrameCodec::encode(body);
    }
    return all;
}

int frameCount(const QByteArray &stream)
{
    return stream.size() / (FrameCodec::LengthBytes + BodyBytes);
}

void receive(benchmark::State &state, const QByteArray &all, int pieceBytes)
{
    PayloadSource source;
    PayloadCounter counter;
    QObject::connect(&source, &PayloadSource::receivedInfos, &counter, &PayloadCounter::take);
    for (auto _ : state) {
        counter.restart();
        source.take(all, pieceBytes);
        if (!counter.hasAll(frameCount(all)))
            state.SkipWithError("frames were lost");
    }
    state.SetItemsProcessed(state.iterations() * frameCount(all));
}

// What the signal and its slot cost by themselves: the payloads are ready.
void emitReady(benchmark::State &state, const QByteArray &all)
{
    PayloadSource source;
    PayloadCounter counter;
    QObject::connect(&source, &PayloadSource::receivedInfos, &counter, &PayloadCounter::take);
    QVector<QByteArray> ready;
    for (int begin = 0; begin < all.size(); begin += FrameCodec::LengthBytes + BodyBytes)
        ready.append(all.mid(begin + FrameCodec::LengthBytes, BodyBytes));
    for (auto _ : state) {
        counter.restart();
        for (const QByteArray &payload : qAsConst(ready))
            Q_EMIT source.receivedInfos(payload);
        if (!counter.hasAll(frameCount(all)))
            state.SkipWithError("frames were lost");
    }
    state.SetItemsProcessed(state.iterations() * frameCount(all));
}

// What the frames cost when each that was taken is moved out of the buffer's front.
void receiveByMoving(benchmark::State &state, const QByteArray &all)
{
    PayloadCounter counter;
    for (auto _ : state) {
        counter.restart();
        QByteArray buffer = all;
        while (buffer.size() >= FrameCodec::LengthBytes) {
            const auto length = static_cast<int>(
                FrameCodec::decodeLength(buffer.constData(), FrameCodec::LengthBytes));
            counter.take(buffer.mid(FrameCodec::LengthBytes, length));
            buffer.remove(0, FrameCodec::LengthBytes + length);
        }
        if (!counter.hasAll(frameCount(all)))
            state.SkipWithError("frames were lost");
    }
    state.SetItemsProcessed(state.iterations() * frameCount(all));
}

// The least that cutting can cost: each length is looked at.
void passHeaders(benchmark::State &state, const QByteArray &all)
{
    for (auto _ : state) {
        int frames = 0;
        const char *const end = all.constData() + all.size();
        for (const char *at = all.constData(); at < end; ++frames)
            at += FrameCodec::LengthBytes + qFromLittleEndian<quint32>(at);
        if (frames != frameCount(all))
            state.SkipWithError("frames were lost");
    }
    state.SetItemsProcessed(state.iterations() * frameCount(all));
}

void registerAll()
{
    const struct
    {
        const char *name;
        int bytes;
    } chunks[] = {{"64 KiB", 64 * KiB}, {"1 MiB", MiB}, {"4 MiB", 4 * MiB}, {"16 MiB", 16 * MiB}};
    for (const auto &chunk : chunks) {
        const QByteArray all = stream(chunk.bytes);
        benchmark::RegisterBenchmark(
            (std::string("cut one chunk/") + chunk.name).c_str(),
            [all](benchmark::State &state) { receive(state, all, all.size()); });
        benchmark::RegisterBenchmark((std::string("pass over headers/") + chunk.name).c_str(),
                                     [all](benchmark::State &state) { passHeaders(state, all); });
    }
    const QByteArray all = stream(MiB);
    for (const int size : {1, 7, 1460, 200000}) {
        benchmark::RegisterBenchmark(
            ("cut pieces/" + std::to_string(size) + " B").c_str(),
            [all, size](benchmark::State &state) { receive(state, all, size); });
    }
    benchmark::RegisterBenchmark("signal alone/1 MiB",
                                 [all](benchmark::State &state) { emitReady(state, all); });
    benchmark::RegisterBenchmark("moving copy/1 MiB", [all](benchmark::State &state) {
        receiveByMoving(state, all);
    })->Iterations(1);
}

} // namespace

int main(int argc, char **argv)
{
    return runBenchmarks(argc, argv, registerAll);
}

#include "frames.moc"
