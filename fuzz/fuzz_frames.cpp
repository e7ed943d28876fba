// The frame reader, given a stream in pieces, against all of the stream read at once.
//
// Input: a byte that may have the stream repeated, a count of instructions, these (each says how
// much comes next, in which way, and how many frames are taken then; they are followed in a
// circle), the stream.
#include "FrameReader.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "NaiveFrames.h"

#include <cstring>

namespace {

constexpr int MostInstructions = 64;
constexpr int LargeUnit = 256;
constexpr quint8 FirstRepeating = 0xF0; // most inputs are better off without

// The bits of an instruction; the rest is how much comes.
constexpr quint8 TakesOneFrame = 0x80;
constexpr quint8 ReadsIntoRoom = 0x40;
constexpr quint8 IsLarge = 0x20;

class Comparison
{
public:
    explicit Comparison(const QByteArray &stream)
        : m_stream(stream)
        , m_expected(stream)
    { }
    ~Comparison()
    {
        fuzzCheck(m_taken == m_expected.payloads, "what was taken stays as it was");
    }

    bool hasMore() const
    {
        return m_appended < m_stream.size();
    }

    void append(int count)
    {
        const QByteArray piece = m_stream.mid(m_appended, count);
        m_reader.append(piece);
        m_appended += piece.size();
        checkPending();
    }

    // As from a socket, which may have less than there is room for.
    void readIntoRoom(int count)
    {
        int left = qMin(count, m_stream.size() - m_appended);
        while (left > 0) {
            const FrameReader::Room room = m_reader.room(count);
            fuzzCheck(room.size >= 1 && room.size <= count,
                      "there is room, and no more than asked");
            const int size = qMin(room.size, left);
            std::memcpy(room.data, m_stream.constData() + m_appended, size);
            m_reader.commit(size);
            m_appended += size;
            left -= size;
            checkPending();
        }
    }

    bool take()
    {
        const int index = m_taken.size();
        const bool isDue
            = index < m_expected.ends.size() && m_expected.ends.at(index) <= m_appended;
        fuzzCheck(m_reader.takeFrame(&m_payload) == isDue,
                  "a frame is taken as soon as it is whole");
        if (!isDue)
            return false;
        fuzzCheck(m_payload == m_expected.payloads.at(index), "payloads are the same");
        m_taken.append(m_payload);
        // A receiver may keep what it got; where none does, its memory is used again.
        if (index % 2 == 0)
            m_taken.last().detach();
        checkPending();
        return true;
    }

private:
    Q_DISABLE_COPY_MOVE(Comparison)

    void checkPending() const
    {
        const int taken = m_taken.isEmpty() ? 0 : m_expected.ends.at(m_taken.size() - 1);
        fuzzCheck(m_reader.pendingBytes() == m_appended - taken, "what is not taken is pending");
        fuzzCheck(m_reader.isEmpty() == (m_appended == taken), "empty when nothing is pending");
    }

    const QByteArray m_stream;
    const NaiveFrames m_expected;
    FrameReader m_reader;
    QByteArray m_payload;
    QVector<QByteArray> m_taken;
    int m_appended = 0;
};

void follow(Comparison *comparison, quint8 instruction)
{
    const int units = instruction & 0x1F;
    const int count = (instruction & IsLarge) != 0 ? units * LargeUnit : units;
    if ((instruction & ReadsIntoRoom) != 0)
        comparison->readIntoRoom(count);
    else
        comparison->append(count);
    if (count == 0)
        comparison->append(1); // so that it ends
    if ((instruction & TakesOneFrame) != 0)
        comparison->take();
    else
        while (comparison->take()) { }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzInput input(data, size);
    const quint8 repeating = input.byte();
    const QByteArray instructions = input.bytes(1 + input.below(MostInstructions));
    const QByteArray stream
        = input.rest().repeated(repeating < FirstRepeating ? 1 : 2 + repeating - FirstRepeating);
    Comparison comparison(stream);
    for (int i = 0; comparison.hasMore(); ++i)
        follow(&comparison, static_cast<quint8>(instructions.at(i % instructions.size())));
    while (comparison.take()) { }
    return 0;
}
