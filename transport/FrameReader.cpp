#include "FrameReader.h"

#include "FrameCodec.h"

#include <climits>
#include <cstring>

namespace {

// From here on a read of its own costs less than copying the payload once more.
constexpr quint32 LongFrame = 8192;
// What a length may claim before any of it has arrived.
constexpr int TrustedBytes = 1024 * 1024;
// An array of Qt counts in int, and has a header.
constexpr int MostBytes = INT_MAX - 64;
constexpr int SmallestBuffer = 4096;
constexpr int LargestIdleBuffer = 256 * 1024;

bool wraps(quint32 length)
{
    return length + quint32(FrameCodec::LengthBytes) < length;
}

// An array of that size, in the memory of \a array where nobody shares it and little of it would
// be wasted.
void setSize(QByteArray *array, int size)
{
    const int capacity = array->isDetached() ? array->capacity() : 0;
    if (capacity < size || capacity / 2 > size)
        *array = QByteArray(size, Qt::Uninitialized);
    else if (array->size() != size)
        array->resize(size);
}

} // namespace

void FrameReader::append(const QByteArray &bytes)
{
    if (bytes.size() > m_roomEnd - m_end) {
        appendInPieces(bytes);
        return;
    }
    std::memcpy(m_buffer.data() + m_end, bytes.constData(), bytes.size());
    m_end += bytes.size();
}

void FrameReader::appendInPieces(const QByteArray &bytes)
{
    if (isEmpty() && bytes.size() >= SmallestBuffer) {
        m_buffer = bytes;
        m_begin = 0;
        m_end = m_roomEnd = bytes.size();
        return;
    }
    for (int position = 0; position < bytes.size();) {
        const Room part = room(bytes.size() - position);
        std::memcpy(part.data, bytes.constData() + position, part.size);
        commit(part.size);
        position += part.size;
    }
}

FrameReader::Room FrameReader::room(qint64 wanted)
{
    if (!m_isLong)
        startLongFrame();
    if (m_isLong && quint32(m_longArrived) < m_longLength)
        return roomInLongFrame(wanted);
    return roomInBuffer(wanted);
}

void FrameReader::commit(int written)
{
    if (m_isLong && quint32(m_longArrived) < m_longLength)
        m_longArrived += written;
    else
        m_end += written;
}

bool FrameReader::takeFrame(QByteArray *payload)
{
    return m_isLong ? takeLongFrame(payload) : takeBufferedFrame(payload);
}

quint32 FrameReader::announcedLength() const
{
    return m_isLong ? m_longLength : FrameCodec::decodeLength(front(), bufferedBytes());
}

int FrameReader::pendingBytes() const
{
    return (m_isLong ? FrameCodec::LengthBytes + m_longArrived : 0) + bufferedBytes();
}

bool FrameReader::isEmpty() const
{
    return !m_isLong && m_begin == m_end;
}

int FrameReader::bufferedBytes() const
{
    return m_end - m_begin;
}

const char *FrameReader::front() const
{
    return m_buffer.constData() + m_begin;
}

// A long frame whose length has arrived gets an array of its own size, and what has arrived of it
// moves there.
void FrameReader::startLongFrame()
{
    if (bufferedBytes() < FrameCodec::LengthBytes)
        return;
    const quint32 length = announcedLength();
    const int arrived = bufferedBytes() - FrameCodec::LengthBytes;
    if (length < LongFrame || wraps(length) || quint32(arrived) >= length)
        return;
    m_longPayload
        = QByteArray(int(qMin(length, quint32(qMax(TrustedBytes, arrived)))), Qt::Uninitialized);
    std::memcpy(m_longPayload.data(), front() + FrameCodec::LengthBytes, arrived);
    m_isLong = true;
    m_longLength = length;
    m_longArrived = arrived;
    dropTaken();
    m_roomEnd = 0; // nothing may follow before the frame is complete
}

FrameReader::Room FrameReader::roomInLongFrame(qint64 wanted)
{
    if (m_longArrived == m_longPayload.size()) {
        const auto most = int(qMin(m_longLength, quint32(MostBytes)));
        // The frame can never become complete: of its bytes only the number counts.
        if (m_longArrived == most)
            m_longArrived -= TrustedBytes;
        const auto size = int(qMin(qint64(most), 2 * qint64(m_longArrived)));
        m_longPayload.reserve(size); // exactly; to resize alone would take up to twice as much
        m_longPayload.resize(size);
    }
    return {m_longPayload.data() + m_longArrived,
            int(qMin(wanted, qint64(m_longPayload.size() - m_longArrived)))};
}

FrameReader::Room FrameReader::roomInBuffer(qint64 wanted)
{
    // Long frames seldom come alone: with no more than the length read, the payload of the next one
    // is read into its own array as a whole.
    const int missing = FrameCodec::LengthBytes - bufferedBytes();
    const bool expectsLength = m_wasLong && !m_isLong && missing > 0;
    const auto size = int(qMin(wanted, qint64(expectsLength ? missing : MostBytes - m_end)));
    makeRoomInBuffer(size);
    return {m_buffer.data() + m_end, size};
}

// What is moved here is the beginning of one frame, and no frame is moved twice.
void FrameReader::makeRoomInBuffer(int size)
{
    if (m_roomEnd - m_end >= size)
        return;
    const int rest = bufferedBytes();
    if (!m_buffer.isDetached() || m_buffer.size() - rest < size) {
        const qint64 ample = qMax(qint64(SmallestBuffer), 2 * qint64(rest) + size);
        QByteArray larger(int(qMin(ample, qint64(MostBytes))), Qt::Uninitialized);
        std::memcpy(larger.data(), front(), rest);
        m_buffer = larger;
    } else {
        std::memmove(m_buffer.data(), front(), rest);
    }
    m_begin = 0;
    m_end = rest;
    m_roomEnd = m_buffer.size();
}

bool FrameReader::takeLongFrame(QByteArray *payload)
{
    if (quint32(m_longArrived) < m_longLength)
        return false;
    *payload = std::move(m_longPayload);
    m_longPayload.clear();
    m_isLong = false;
    m_wasLong = true;
    return true;
}

bool FrameReader::takeBufferedFrame(QByteArray *payload)
{
    constexpr quint32 lengthBytes = FrameCodec::LengthBytes;
    const quint32 length = announcedLength();
    if (quint32(bufferedBytes()) < length + lengthBytes)
        return false;
    const int size = wraps(length) ? 0 : int(length);
    setSize(payload, size);
    std::memcpy(payload->data(), front() + lengthBytes, size);
    m_begin += FrameCodec::LengthBytes + size;
    m_wasLong = length >= LongFrame;
    if (m_begin == m_end)
        dropTaken();
    return true;
}

void FrameReader::dropTaken()
{
    if (m_buffer.size() > LargestIdleBuffer || !m_buffer.isDetached())
        m_buffer.clear(); // gives the memory back
    m_begin = m_end = 0;
    m_roomEnd = m_buffer.size();
}
