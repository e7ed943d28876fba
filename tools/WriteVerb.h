#ifndef WRITEVERB_H
#define WRITEVERB_H

#include "Verb.h"

/// Writes data with one request, and reads it back on demand.
class WriteVerb : public Verb
{
    Q_OBJECT

public:
    WriteVerb();

    void addOptions(VerbOptions *options) override;
    QString prepare() override;

protected:
    void ready() override;

private:
    void written(DeviceReply *reply);
    void readBack(DeviceReply *reply);
    void succeed();

    EquipmentAddress m_address;
    QByteArray m_data;
    bool m_hasData = false; ///< from the command line
    QString m_fileName; ///< empty for standard input
    bool m_isVerifying = false;
};

#endif
