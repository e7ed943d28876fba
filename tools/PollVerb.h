#ifndef POLLVERB_H
#define POLLVERB_H

#include "ByteChanges.h"
#include "StreamVerb.h"

#include <QTimer>

/// Reads a range again and again, and prints what changed.
class PollVerb : public StreamVerb
{
    Q_OBJECT

public:
    PollVerb();

    void addOptions(VerbOptions *options) override;
    QString problem() const override;

protected:
    void opened() override;

private:
    void ask();
    void take(DeviceReply *reply);
    void showFirst(const QByteArray &data);
    void showChange(const ByteChange &change);
    void showCsv(quint32 address, const QByteArray &before, const QByteArray &after);

    EquipmentAddress m_address;
    int m_length = 16;
    int m_intervalMs = 1000;
    bool m_isCsv = false;
    QTimer m_timer;
    bool m_isAsking = false;
    bool m_hasRead = false;
    QByteArray m_last;
};

#endif
