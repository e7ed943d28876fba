#ifndef LOADVERB_H
#define LOADVERB_H

#include "ResumeState.h"
#include "TransferVerb.h"

#include <optional>

/// Writes a file, in many requests. A load that ends early leaves a resume file beside it,
/// from which another goes on.
class LoadVerb : public TransferVerb
{
    Q_OBJECT

public:
    LoadVerb();

    void addOptions(VerbOptions *options) override;
    QString prepare() override;

protected:
    void begin(DeviceTransfer *transfer) override;
    void ended(const DeviceTransfer &transfer) override;

private:
    QString takeLength();
    void keepState(const SessionError &error, int done);
    void succeed();

    QString m_fileName;
    int m_length = 0; ///< 0 for all that is in the file
    bool m_isVerifying = false;
    bool m_isResuming = false;
    QByteArray m_data;
    std::optional<ResumeState> m_state;
};

#endif
