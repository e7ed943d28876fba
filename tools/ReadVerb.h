#ifndef READVERB_H
#define READVERB_H

#include "DataOutput.h"
#include "Verb.h"

/// Reads data with one request.
class ReadVerb : public Verb
{
    Q_OBJECT

public:
    ReadVerb();

    void addOptions(VerbOptions *options) override;

protected:
    void ready() override;

private:
    void show(DeviceReply *reply);

    EquipmentAddress m_address;
    int m_length = 16;
    DataOutput m_data;
};

#endif
