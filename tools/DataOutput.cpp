#include "DataOutput.h"

#include "HexDump.h"
#include "StandardOutput.h"
#include "VerbOptions.h"

namespace {

const QString Hex = QStringLiteral("hex");
const QString Raw = QStringLiteral("raw");
const QString Base64 = QStringLiteral("base64");
const QString Json = QStringLiteral("json");

QJsonObject description(const EquipmentAddress &address, const QByteArray &data)
{
    return {{QStringLiteral("key"), address.key},
            {QStringLiteral("address"), static_cast<qint64>(address.address)},
            {QStringLiteral("length"), data.size()}};
}

QJsonObject withData(const EquipmentAddress &address, const QByteArray &data)
{
    QJsonObject object = description(address, data);
    object.insert(QStringLiteral("data"), QString::fromLatin1(data.toBase64()));
    return object;
}

} // namespace

DataOutput::DataOutput(Preference preference)
    : m_preference(preference)
{ }

void DataOutput::addTo(VerbOptions *options)
{
    const QString usual = m_preference == Preference::Raw
        ? QStringLiteral("raw; on a terminal hex.")
        : QStringLiteral("hex; in a file raw.");
    options->choice("--format", {Hex, Raw, Base64, Json},
                    QStringLiteral("The form of the data. Default ") + usual, &m_format);
    options->fileName("--output", "FILE",
                      QStringLiteral("Write the data to FILE. Default standard output."),
                      &m_fileName);
}

QString DataOutput::open()
{
    if (m_fileName.isEmpty())
        return QString();
    m_file.setFileName(m_fileName);
    return m_file.open(QIODevice::ReadWrite) ? QString() : fileProblem();
}

QString DataOutput::write(const EquipmentAddress &address, const QByteArray &data, bool isJson,
                          StandardOutput *output)
{
    if (!m_file.isOpen()) {
        if (isJson)
            output->json(withData(address, data));
        else
            output->write(formatted(address, data));
        return QString();
    }
    m_file.resize(0); // what is no regular file need not be emptied
    if (m_file.write(formatted(address, data)) < 0 || !m_file.flush())
        return fileProblem();
    if (isJson)
        output->json(description(address, data));
    return QString();
}

QString DataOutput::format() const
{
    if (!m_format.isEmpty())
        return m_format;
    if (m_file.isOpen())
        return Raw;
    return m_preference == Preference::Raw && !StandardOutput::isTerminal() ? Raw : Hex;
}

QByteArray DataOutput::formatted(const EquipmentAddress &address, const QByteArray &data) const
{
    const QString form = format();
    if (form == Hex)
        return HexDump::text(data, address.address);
    if (form == Base64)
        return data.toBase64() + '\n';
    if (form == Json)
        return StandardOutput::jsonLine(withData(address, data));
    return data;
}

QString DataOutput::fileProblem() const
{
    return QStringLiteral("\"%1\" cannot be written: %2.").arg(m_fileName, m_file.errorString());
}
