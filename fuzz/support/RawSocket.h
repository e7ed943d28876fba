#ifndef RAWSOCKET_H
#define RAWSOCKET_H

#include <QByteArray>

/// One end of a local connection that never waits and keeps no rules.
class RawSocket
{
public:
    /// Owns \a descriptor; -1 for none.
    explicit RawSocket(int descriptor = -1);
    ~RawSocket();
    RawSocket(RawSocket &&other) noexcept;
    RawSocket &operator=(RawSocket &&other) noexcept;
    RawSocket(const RawSocket &) = delete;
    RawSocket &operator=(const RawSocket &) = delete;

    bool isOpen() const;
    void close();

    /// Writes as much of \a bytes as the system takes: how many.
    int write(const QByteArray &bytes);
    /// Reads what there is, behind what was read before.
    void read();
    const QByteArray &received() const;

private:
    int m_descriptor;
    QByteArray m_received;
};

#endif
