#include "FrameReader.h"

#include "FrameCodec.h"

void FrameReader::append(const QByteArray &bytes)
{
    dropTaken();
    m_buffer.append(bytes);
}

bool FrameReader::takeFrame(QByteArray *payload)
{
    constexpr quint32 lengthBytes = FrameCodec::LengthBytes;
    const quint32 length = announcedLength();
    if (static_cast<quint32>(pendingBytes()) < length + lengthBytes)
        return false;
    const int payloadBytes = qMax(0, static_cast<int>(length)); // negative where the sum wrapped
    *payload = m_buffer.mid(m_taken + FrameCodec::LengthBytes, payloadBytes);
    m_taken += FrameCodec::LengthBytes + payloadBytes;
    if (isEmpty())
        dropTaken();
    return true;
}

quint32 FrameReader::announcedLength() const
{
    return FrameCodec::decodeLength(m_buffer.constData() + m_taken, pendingBytes());
}

int FrameReader::pendingBytes() const
{
    return m_buffer.size() - m_taken;
}

bool FrameReader::isEmpty() const
{
    return pendingBytes() == 0;
}

// Once per appended piece, not once per frame: many small frames in one piece cost linear time.
void FrameReader::dropTaken()
{
    if (isEmpty())
        m_buffer.clear(); // gives the memory back
    else
        m_buffer.remove(0, m_taken);
    m_taken = 0;
}
