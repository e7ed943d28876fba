#include "PollVerb.h"

#include "AddressOptions.h"
#include "HexDump.h"
#include "NumberText.h"
#include "TimeStamp.h"
#include "VerbOptions.h"

#include <limits>

namespace {

QString hex(const QByteArray &data)
{
    return QString::fromLatin1(data.toHex());
}

QString spacedHex(const QByteArray &data)
{
    return QString::fromLatin1(data.toHex(' '));
}

} // namespace

PollVerb::PollVerb()
    : StreamVerb(QStringLiteral("poll"),
                 QStringLiteral("Read a range again and again, and print what changed."))
{
    connect(&m_timer, &QTimer::timeout, this, &PollVerb::ask);
}

void PollVerb::addOptions(VerbOptions *options)
{
    AddressOptions::addTo(options, &m_address);
    options->number("--length", "BYTES",
                    QStringLiteral("How much to read. Default %1.").arg(m_length),
                    {1, DeviceSession::MaxRequestBytes, "bytes"}, &m_length);
    options->number(
        "--interval", "MS",
        QStringLiteral("From one reading to the next. Default %1 ms.").arg(m_intervalMs),
        {1, std::numeric_limits<int>::max(), "milliseconds"}, &m_intervalMs);
    options->flag("--csv", QStringLiteral("Print rows of time, address, before and after."),
                  &m_isCsv);
    addLimits(options, QStringLiteral("readings"));
}

QString PollVerb::problem() const
{
    return m_isCsv && isJson() ? QStringLiteral("Give --csv or --json, not both.") : QString();
}

void PollVerb::opened()
{
    if (const SessionError error = keyError(m_address.key))
        return fail(error);
    if (!m_timer.isActive()) {
        m_timer.start(m_intervalMs);
        ask();
    }
}

void PollVerb::ask()
{
    if (m_isAsking || session()->state() != DeviceSession::State::Ready)
        return;
    m_isAsking = true;
    DeviceReply *const reply = session()->read(m_address, m_length);
    connect(reply, &DeviceReply::finished, this, [this, reply] { take(reply); });
}

void PollVerb::take(DeviceReply *reply)
{
    reply->deleteLater();
    m_isAsking = false;
    const SessionError error = reply->sessionError();
    if (isFinished() || error.code == SessionError::Code::ConnectionLost)
        return;
    if (error)
        return fail(error);
    const QByteArray data = reply->data();
    if (!m_hasRead || data.size() != m_last.size()) {
        showFirst(data);
    } else {
        const QVector<ByteChange> changes = byteChanges(m_last, data);
        for (const ByteChange &change : changes)
            showChange(change);
    }
    m_hasRead = true;
    m_last = data;
    countOne();
}

void PollVerb::showFirst(const QByteArray &data)
{
    if (isJson()) {
        output()->json({{QStringLiteral("time"), timeStamp()},
                        {QStringLiteral("address"), static_cast<qint64>(m_address.address)},
                        {QStringLiteral("after"), hex(data)}});
    } else if (m_isCsv) {
        output()->text(QStringLiteral("time,address,before,after\n"));
        showCsv(m_address.address, QByteArray(), data);
    } else {
        output()->write(HexDump::text(data, m_address.address));
    }
}

void PollVerb::showChange(const ByteChange &change)
{
    const quint32 address = m_address.address + static_cast<quint32>(change.offset);
    if (isJson())
        output()->json({{QStringLiteral("time"), timeStamp()},
                        {QStringLiteral("address"), static_cast<qint64>(address)},
                        {QStringLiteral("before"), hex(change.before)},
                        {QStringLiteral("after"), hex(change.after)}});
    else if (m_isCsv)
        showCsv(address, change.before, change.after);
    else
        output()->text(QStringLiteral("%1  %2  %3 -> %4\n")
                           .arg(timeStamp(), NumberText::address(address), spacedHex(change.before),
                                spacedHex(change.after)));
}

void PollVerb::showCsv(quint32 address, const QByteArray &before, const QByteArray &after)
{
    output()->text(QStringLiteral("%1,%2,%3,%4\n")
                       .arg(timeStamp(), NumberText::address(address), hex(before), hex(after)));
}
