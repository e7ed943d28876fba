#include "LoadVerb.h"

#include "DataInput.h"
#include "NumberText.h"
#include "VerbOptions.h"

#include <QFile>

LoadVerb::LoadVerb()
    : TransferVerb(QStringLiteral("load"), QStringLiteral("Write a file, in many requests."))
{ }

void LoadVerb::addOptions(VerbOptions *options)
{
    TransferVerb::addOptions(options);
    options->argument("FILE", QStringLiteral("The file to write from."), &m_fileName);
    options->number("--length", "BYTES",
                    QStringLiteral("How much of the file to write. Default all."),
                    {1, DeviceTransfer::MaxBytes, "bytes"}, &m_length);
    options->flag("--verify", QStringLiteral("Read it back and compare."), &m_isVerifying);
    options->flag("--resume",
                  QStringLiteral("Go on where a load that was interrupted or failed has ended."),
                  &m_isResuming);
}

QString LoadVerb::prepare()
{
    QString problem = DataInput::read(m_fileName, DeviceTransfer::MaxBytes, &m_data);
    if (problem.isEmpty())
        problem = takeLength();
    if (!problem.isEmpty())
        return problem;
    m_state.emplace(address(), m_data);
    return m_isResuming ? m_state->read(ResumeState::fileNameFor(m_fileName)) : QString();
}

QString LoadVerb::takeLength()
{
    if (m_data.isEmpty())
        return QStringLiteral("There is nothing in \"%1\".").arg(m_fileName);
    if (m_length > m_data.size())
        return QStringLiteral("\"%1\" holds %2 bytes, not %3.")
            .arg(m_fileName)
            .arg(m_data.size())
            .arg(m_length);
    if (m_length > 0)
        m_data.truncate(m_length);
    return QString();
}

void LoadVerb::begin(DeviceTransfer *transfer)
{
    EquipmentAddress place = address();
    place.address += static_cast<quint32>(m_state->offset());
    transfer->setVerifying(m_isVerifying);
    transfer->write(place, m_data.mid(m_state->offset()));
}

void LoadVerb::ended(const DeviceTransfer &transfer)
{
    const SessionError error = transfer.sessionError();
    if (!error)
        return succeed();
    // What was to be verified and was not must be written and verified again.
    const int moved = m_isVerifying ? transfer.verifiedBytes() : transfer.transferredBytes();
    keepState(error, m_state->offset() + moved);
}

void LoadVerb::keepState(const SessionError &error, int done)
{
    if (done == 0)
        return failAfter(error, done, m_data.size(), QString());
    m_state->setOffset(done);
    const QString problem = m_state->write(ResumeState::fileNameFor(m_fileName));
    failAfter(error, done, m_data.size(),
              problem.isEmpty() ? QStringLiteral(" load --resume goes on from there.")
                                : QLatin1Char(' ') + problem);
}

void LoadVerb::succeed()
{
    QFile::remove(ResumeState::fileNameFor(m_fileName));
    const quint32 first = address().address;
    QString text = QStringLiteral("Wrote %1 bytes to %2 at %3")
                       .arg(m_data.size() - m_state->offset())
                       .arg(address().key,
                            NumberText::address(first + static_cast<quint32>(m_state->offset())));
    text += m_isVerifying ? QLatin1String(" and read them back.") : QLatin1String(".");
    confirm(text,
            {{QStringLiteral("key"), address().key},
             {QStringLiteral("address"), static_cast<qint64>(first)},
             {QStringLiteral("length"), m_data.size()},
             {QStringLiteral("resumedAt"), m_state->offset()},
             {QStringLiteral("verified"), m_isVerifying}});
    finish(ExitCode::Done);
}
