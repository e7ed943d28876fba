#include "WriteVerb.h"

#include "AddressOptions.h"
#include "ByteChanges.h"
#include "DataInput.h"
#include "HexText.h"
#include "NumberText.h"
#include "VerbOptions.h"

WriteVerb::WriteVerb()
    : Verb(QStringLiteral("write"),
           QStringLiteral("Write data with one request: from an option or standard input."))
{ }

void WriteVerb::addOptions(VerbOptions *options)
{
    AddressOptions::addTo(options, &m_address);
    options->parsed("--hex", "DIGITS", QStringLiteral("Write these bytes, such as \"48 65\"."),
                    [this](const QString &text) {
                        QString problem;
                        m_hasData = HexText::read(text, &m_data, &problem);
                        return m_hasData ? QString() : QStringLiteral("--hex: %1.").arg(problem);
                    });
    options->parsed("--text", "TEXT", QStringLiteral("Write this text, in UTF-8."),
                    [this](const QString &text) {
                        m_hasData = true;
                        m_data = text.toUtf8();
                        return QString();
                    });
    options->fileName("--file", "FILE", QStringLiteral("Write what is in FILE."), &m_fileName);
    options->exclude({QStringLiteral("--hex"), QStringLiteral("--text"), QStringLiteral("--file")});
    options->flag("--verify", QStringLiteral("Read it back and compare."), &m_isVerifying);
}

QString WriteVerb::prepare()
{
    return m_hasData ? QString()
                     : DataInput::read(m_fileName, DeviceSession::MaxRequestBytes, &m_data);
}

void WriteVerb::ready()
{
    if (const SessionError error = keyError(m_address.key))
        return fail(error);
    DeviceReply *const reply = session()->write(m_address, m_data);
    connect(reply, &DeviceReply::finished, this, [this, reply] { written(reply); });
}

void WriteVerb::written(DeviceReply *reply)
{
    reply->deleteLater();
    if (const SessionError error = reply->sessionError())
        return fail(error);
    if (!m_isVerifying || m_data.isEmpty())
        return succeed();
    DeviceReply *const second = session()->read(m_address, m_data.size());
    connect(second, &DeviceReply::finished, this, [this, second] { readBack(second); });
}

void WriteVerb::readBack(DeviceReply *reply)
{
    reply->deleteLater();
    if (const SessionError error = reply->sessionError())
        return fail(error);
    if (reply->data() == m_data)
        return succeed();
    if (reply->data().size() != m_data.size())
        return fail(ExitCode::VerificationFailed,
                    QStringLiteral("%1 bytes were read back, %2 were written.")
                        .arg(reply->data().size())
                        .arg(m_data.size()));
    const ByteChange first = byteChanges(m_data, reply->data()).constFirst();
    fail(ExitCode::VerificationFailed,
         QStringLiteral("What was read back at %1 is %2; %3 was written.")
             .arg(NumberText::address(m_address.address + static_cast<quint32>(first.offset)),
                  QString::fromLatin1(first.after.toHex()),
                  QString::fromLatin1(first.before.toHex())));
}

void WriteVerb::succeed()
{
    QString text = QStringLiteral("Wrote %1 bytes to %2 at %3")
                       .arg(m_data.size())
                       .arg(m_address.key, NumberText::address(m_address.address));
    text += m_isVerifying ? QLatin1String(" and read them back.") : QLatin1String(".");
    confirm(text,
            {{QStringLiteral("key"), m_address.key},
             {QStringLiteral("address"), static_cast<qint64>(m_address.address)},
             {QStringLiteral("length"), m_data.size()},
             {QStringLiteral("verified"), m_isVerifying}});
    finish(ExitCode::Done);
}
