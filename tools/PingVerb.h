#ifndef PINGVERB_H
#define PINGVERB_H

#include "RoundTrips.h"
#include "Verb.h"

#include <QElapsedTimer>

/// Measures how long requests to a piece of equipment take, one after the other.
class PingVerb : public Verb
{
    Q_OBJECT

public:
    PingVerb();

    void addOptions(VerbOptions *options) override;

protected:
    void ready() override;
    void lost(const SessionError &error) override;
    void interrupted() override;

private:
    void ask();
    void take(DeviceReply *reply);
    void report();

    QString m_key;
    int m_count = 10;
    int m_intervalMs = 100;
    int m_sent = 0;
    QElapsedTimer m_sinceSent;
    RoundTrips m_roundTrips;
    SessionError m_lastError;
};

#endif
