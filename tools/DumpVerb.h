#ifndef DUMPVERB_H
#define DUMPVERB_H

#include "DataOutput.h"
#include "TransferVerb.h"

/// Reads a whole range, in many requests. What was read before it ended early is written out all
/// the same.
class DumpVerb : public TransferVerb
{
    Q_OBJECT

public:
    DumpVerb();

    void addOptions(VerbOptions *options) override;
    QString problem() const override;

protected:
    QString obstacle() override;
    void begin(DeviceTransfer *transfer) override;
    void ended(const DeviceTransfer &transfer) override;

private:
    int m_length = 0; ///< 0 when none is given
    DataOutput m_data;
};

#endif
