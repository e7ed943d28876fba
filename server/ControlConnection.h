#ifndef CONTROLCONNECTION_H
#define CONTROLCONNECTION_H

#include "LineReader.h"

#include <QObject>

#include <functional>

class QLocalSocket;

/// One connection to the control channel: lines in, answers out, in order. Who does not read the
/// answers is not read from.
class ControlConnection : public QObject
{
    Q_OBJECT

public:
    using Answering = std::function<QByteArray(const QByteArray &line)>;

    /// Takes over the connected socket \a descriptor.
    ControlConnection(qintptr descriptor, Answering answering);
    ~ControlConnection() override;

Q_SIGNALS:
    /// The connection is gone; this may be deleted with `deleteLater`.
    void closed();

private:
    void read();
    void serve();
    bool isCongested() const;

    QLocalSocket *m_socket;
    Answering m_answering;
    LineReader m_reader;
};

#endif
