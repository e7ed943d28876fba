#ifndef DBUS_H
#define DBUS_H

#include "Receiver.h"

/// A signal over a peer-to-peer connection of QtDBus, without a bus between.
class DBus : public Receiver
{
    Q_OBJECT

public:
    ~DBus() override;

    bool open() override;

protected:
    void send(const Order &order) override;

private Q_SLOTS:
    void take(const QByteArray &body);
};

#endif
