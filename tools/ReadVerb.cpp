#include "ReadVerb.h"

#include "AddressOptions.h"
#include "VerbOptions.h"

ReadVerb::ReadVerb()
    : Verb(QStringLiteral("read"), QStringLiteral("Read data with one request."))
    , m_data(DataOutput::Preference::HexDump)
{ }

void ReadVerb::addOptions(VerbOptions *options)
{
    AddressOptions::addTo(options, &m_address);
    options->number("--length", "BYTES",
                    QStringLiteral("How much to read. Default %1.").arg(m_length),
                    {1, DeviceSession::MaxRequestBytes, "bytes"}, &m_length);
    m_data.addTo(options);
}

void ReadVerb::ready()
{
    if (const SessionError error = keyError(m_address.key))
        return fail(error);
    const QString problem = m_data.open();
    if (!problem.isEmpty())
        return fail(ExitCode::Failed, problem);
    DeviceReply *const reply = session()->read(m_address, m_length);
    connect(reply, &DeviceReply::finished, this, [this, reply] { show(reply); });
}

void ReadVerb::show(DeviceReply *reply)
{
    reply->deleteLater();
    if (const SessionError error = reply->sessionError())
        return fail(error);
    const QString problem = m_data.write(m_address, reply->data(), isJson(), output());
    if (!problem.isEmpty())
        return fail(ExitCode::Failed, problem);
    finish(ExitCode::Done);
}
