#include "TransferVerb.h"

#include "AddressOptions.h"
#include "VerbOptions.h"

void TransferVerb::addOptions(VerbOptions *options)
{
    AddressOptions::addTo(options, &m_address);
    options->number("--chunk", "BYTES",
                    QStringLiteral("How much one request carries. Default %1.").arg(m_chunkBytes),
                    {1, DeviceSession::MaxRequestBytes, "bytes"}, &m_chunkBytes);
    options->number(
        "--window", "N",
        QStringLiteral("How many requests are on their way at a time. Default %1.").arg(m_window),
        {1, DeviceTransfer::MaxWindow, "requests"}, &m_window);
}

QString TransferVerb::obstacle()
{
    return QString();
}

void TransferVerb::ready()
{
    if (const SessionError error = keyError(m_address.key))
        return fail(error);
    const QString problem = obstacle();
    if (!problem.isEmpty())
        return fail(ExitCode::Failed, problem);
    m_bar = std::make_unique<ProgressBar>(!common()->isQuiet);
    m_transfer = new DeviceTransfer(session(), session());
    m_transfer->setChunkBytes(m_chunkBytes);
    m_transfer->setWindow(m_window);
    connect(m_transfer, &DeviceTransfer::progress, this,
            [this](qint64 done, qint64 total) { m_bar->show(done, total); });
    connect(m_transfer, &DeviceTransfer::finished, this, &TransferVerb::end);
    begin(m_transfer);
}

void TransferVerb::lost(const SessionError &error)
{
    if (!isTransferring()) // otherwise the transfer ends, too, and says how far it came
        Verb::lost(error);
}

void TransferVerb::interrupted()
{
    if (isTransferring())
        m_transfer->abort();
    else
        Verb::interrupted();
}

const EquipmentAddress &TransferVerb::address() const
{
    return m_address;
}

void TransferVerb::failAfter(const SessionError &error, int done, int total, const QString &advice)
{
    const QString reason
        = error.code == SessionError::Code::Aborted ? QStringLiteral("Interrupted.") : error.text;
    fail(exitCodeOf(error.code),
         QStringLiteral("%1 Done: %2 of %3 bytes.%4").arg(reason).arg(done).arg(total).arg(advice));
}

bool TransferVerb::isTransferring() const
{
    return m_transfer != nullptr && !m_transfer->isFinished();
}

void TransferVerb::end()
{
    m_bar->clear();
    ended(*m_transfer);
}
