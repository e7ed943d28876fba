#ifndef BARESOCKET_H
#define BARESOCKET_H

#include "Receiver.h"

#include <QLocalSocket>

#include <array>

/// The limit: reads into one fixed buffer and cuts nothing.
class BareSocket : public Receiver
{
    Q_OBJECT

public:
    bool open() override;

protected:
    void send(const Order &order) override;

private:
    void read();

    QLocalSocket m_socket;
    std::array<char, 65536> m_buffer;
    qint64 m_expected = 0;
};

#endif
