#include "DumpVerb.h"

#include "VerbOptions.h"

DumpVerb::DumpVerb()
    : TransferVerb(QStringLiteral("dump"), QStringLiteral("Read a whole range, in many requests."))
    , m_data(DataOutput::Preference::Raw)
{ }

void DumpVerb::addOptions(VerbOptions *options)
{
    TransferVerb::addOptions(options);
    options->number("--length", "BYTES", QStringLiteral("How much to read; has to be given."),
                    {1, DeviceTransfer::MaxBytes, "bytes"}, &m_length);
    m_data.addTo(options);
}

QString DumpVerb::problem() const
{
    return m_length == 0 ? QStringLiteral("--length has to be given.") : QString();
}

QString DumpVerb::obstacle()
{
    return m_data.open();
}

void DumpVerb::begin(DeviceTransfer *transfer)
{
    transfer->read(address(), m_length);
}

void DumpVerb::ended(const DeviceTransfer &transfer)
{
    const SessionError error = transfer.sessionError();
    const QByteArray data = transfer.data();
    if (!error || !data.isEmpty()) {
        const QString problem = m_data.write(address(), data, isJson(), output());
        if (!problem.isEmpty())
            return fail(ExitCode::Failed, problem);
    }
    if (error)
        return failAfter(error, data.size(), m_length, QString());
    finish(ExitCode::Done);
}
