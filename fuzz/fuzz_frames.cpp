// The frame reader, given a stream in pieces, against all of the stream read at once.
//
// Input: a byte that may have the stream repeated, a count of instructions, these (each says how
// much comes next and how many frames are taken then; they are followed in a circle), the stream.
#include "FrameReader.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "NaiveFrames.h"

namespace {

constexpr int MostInstructions = 64;
constexpr int LargeUnit = 64;
constexpr quint8 FirstRepeating = 0xF0; // most inputs are better off without

class Comparison
{
public:
    explicit Comparison(const QByteArray &stream)
        : m_stream(stream)
        , m_expected(stream)
    { }

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

    bool take()
    {
        QByteArray payload;
        const bool isTaken = m_reader.takeFrame(&payload);
        const bool isDue
            = m_taken < m_expected.ends.size() && m_expected.ends.at(m_taken) <= m_appended;
        fuzzCheck(isTaken == isDue, "a frame is taken as soon as it is whole");
        if (!isTaken)
            return false;
        fuzzCheck(payload == m_expected.payloads.at(m_taken), "payloads are the same");
        ++m_taken;
        checkPending();
        return true;
    }

private:
    void checkPending() const
    {
        const int taken = m_taken == 0 ? 0 : m_expected.ends.at(m_taken - 1);
        fuzzCheck(m_reader.pendingBytes() == m_appended - taken, "what is not taken is pending");
    }

    const QByteArray m_stream;
    const NaiveFrames m_expected;
    FrameReader m_reader;
    int m_appended = 0;
    int m_taken = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzInput input(data, size);
    const quint8 repeating = input.byte();
    const QByteArray instructions = input.bytes(1 + input.below(MostInstructions));
    const QByteArray stream
        = input.rest().repeated(repeating < FirstRepeating ? 1 : 2 + repeating - FirstRepeating);
    Comparison comparison(stream);
    for (int i = 0; comparison.hasMore(); ++i) {
        const auto instruction = static_cast<quint8>(instructions.at(i % instructions.size()));
        const int length = instruction & 0x3F;
        comparison.append((instruction & 0x40) != 0 ? length * LargeUnit : length);
        if (length == 0)
            comparison.append(1); // so that it ends
        if ((instruction & 0x80) != 0)
            comparison.take();
        else
            while (comparison.take()) { }
    }
    while (comparison.take()) { }
    return 0;
}
