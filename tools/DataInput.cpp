#include "DataInput.h"

#include <QFile>

#include <cstdio>

namespace {

constexpr int PortionBytes = 1024 * 1024;

// Not all at once: a device may never end, and Qt takes a file over 2 GB for an empty one.
void readPortions(QFile *file, int most, QByteArray *data)
{
    QByteArray portion;
    do {
        portion = file->read(PortionBytes);
        data->append(portion);
    } while (!portion.isEmpty() && data->size() <= most);
}

} // namespace

QString DataInput::read(const QString &fileName, int most, QByteArray *data)
{
    QFile file(fileName);
    const bool isOpen = fileName.isEmpty() ? file.open(stdin, QIODevice::ReadOnly)
                                           : file.open(QIODevice::ReadOnly);
    const QString name = fileName.isEmpty() ? QStringLiteral("Standard input")
                                            : QLatin1Char('"') + fileName + QLatin1Char('"');
    if (isOpen)
        readPortions(&file, most, data);
    if (!isOpen || file.error() != QFileDevice::NoError)
        return QStringLiteral("%1 cannot be read: %2.").arg(name, file.errorString());
    if (data->size() > most)
        return QStringLiteral("%1 holds more than %2 bytes.").arg(name).arg(most);
    return QString();
}
