#include "PackageByteForm.h"

#include "PackageFields.h"

#include <QDataStream>

namespace {

constexpr quint8 FormatVersion = 1;

// A null text or null data would be written with a length of its own.
QString notNull(const QString &text)
{
    return text.isNull() ? QString(QLatin1String("")) : text;
}

void writeHeader(QDataStream *stream, const PackageFields &fields)
{
    *stream << FormatVersion << fields.serialNum << fields.readWriteCode << fields.clientPackageType
            << notNull(fields.serverConnectionKey) << fields.deviceType << fields.portAddr
            << fields.scanBoardAddr << fields.desAddr << fields.scrAddr << fields.highAddr
            << fields.lowAddr << fields.reserved2 << fields.timeout << notNull(fields.tag);
}

} // namespace

QByteArray PackageByteForm::request(const PackageFields &fields)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.setVersion(QDataStream::Qt_5_12);
    writeHeader(&stream, fields);
    if (fields.readWriteCode == ReadCode)
        stream << fields.readLength;
    else if (fields.readWriteCode == WriteCode)
        stream << (fields.data.isNull() ? QByteArray("") : fields.data);
    return bytes;
}
