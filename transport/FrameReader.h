#ifndef FRAMEREADER_H
#define FRAMEREADER_H

#include <QByteArray>

/// Cuts a stream of bytes, in whatever pieces it arrives, back into frames. Knows nothing of
/// sockets. Its state is complete between any two calls, so a receiver of one frame may append and
/// take further ones before it returns.
class FrameReader
{
public:
    void append(const QByteArray &bytes);

    /// Takes the next complete frame off the front; false when there is none yet.
    ///
    /// The comparison of what has arrived with length + 4 is made in unsigned 32-bit arithmetic.
    /// A length from 2^31 to 2^32 - 5 can therefore never be satisfied, and one of the four above
    /// wraps around: it is taken as a frame without payload.
    bool takeFrame(QByteArray *payload);

    /// The length field at the front, as far as it has arrived; missing bytes count as 0.
    quint32 announcedLength() const;

    /// Bytes appended and not yet taken.
    int pendingBytes() const;

    bool isEmpty() const;

private:
    void dropTaken();

    QByteArray m_buffer;
    int m_taken = 0; // frames at the front of the buffer that were taken already
};

#endif
