#ifndef TRANSFERVERB_H
#define TRANSFERVERB_H

#include "DeviceTransfer.h"
#include "ProgressBar.h"
#include "Verb.h"

#include <memory>

/// A verb that moves a whole range with a transfer. An interruption or the loss of the server ends
/// the transfer first, so that what has been moved counts.
class TransferVerb : public Verb
{
    Q_OBJECT

public:
    using Verb::Verb;

    void addOptions(VerbOptions *options) override;

protected:
    /// What stands against the transfer, besides a wrong key; empty unless overridden.
    virtual QString obstacle();
    /// Starts the transfer.
    virtual void begin(DeviceTransfer *transfer) = 0;
    /// It has ended, well or not.
    virtual void ended(const DeviceTransfer &transfer) = 0;

    void ready() override;
    void lost(const SessionError &error) override;
    void interrupted() override;

    const EquipmentAddress &address() const;
    /// How the transfer's error is said, when so much of the range is done.
    void failAfter(const SessionError &error, int done, int total, const QString &advice);

private:
    bool isTransferring() const;
    void end();

    EquipmentAddress m_address;
    int m_chunkBytes = DeviceTransfer::DefaultChunkBytes;
    int m_window = DeviceTransfer::DefaultWindow;
    DeviceTransfer *m_transfer = nullptr;
    std::unique_ptr<ProgressBar> m_bar;
};

#endif
