#ifndef FRAMEREADER_H
#define FRAMEREADER_H

#include <QByteArray>

/// Cuts a stream of bytes, in whatever pieces it arrives, back into frames. Knows nothing of
/// sockets. Its state is complete between any two calls, so a receiver of one frame may append and
/// take further ones before it returns.
///
/// Every byte is copied as seldom as can be: what `append` is given is shared as long as possible,
/// and of a long frame the bytes that follow its length can be read straight into what `takeFrame`
/// hands out.
class FrameReader
{
public:
    /// Room for bytes that come next in the stream; at least one.
    struct Room
    {
        char *data;
        int size;
    };

    void append(const QByteArray &bytes);

    /// Room for the next bytes, at most \a wanted, which must be positive. Good until the next call
    /// of another operation; `commit` then tells how many bytes have been written there.
    Room room(qint64 wanted);
    void commit(int written);

    /// Takes the next complete frame off the front; false when there is none yet. The memory of
    /// \a payload is used again where nobody else shares it.
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
    int bufferedBytes() const;
    const char *front() const;
    void dropTaken();

    void appendInPieces(const QByteArray &bytes);
    void startLongFrame();
    Room roomInLongFrame(qint64 wanted);
    Room roomInBuffer(qint64 wanted);
    void makeRoomInBuffer(int size);
    bool takeLongFrame(QByteArray *payload);
    bool takeBufferedFrame(QByteArray *payload);

    // The stream in order: the payload of a long frame, if one is collected, then the buffer from
    // m_begin to m_end. From there to m_roomEnd bytes can be added without further thought.
    bool m_isLong = false;
    quint32 m_longLength = 0;
    int m_longArrived = 0;
    QByteArray m_longPayload;
    QByteArray m_buffer;
    int m_begin = 0;
    int m_end = 0;
    int m_roomEnd = 0;
    bool m_wasLong = false; // the last frame taken
};

#endif
