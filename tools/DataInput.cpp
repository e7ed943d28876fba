#include "DataInput.h"

#include <QFile>

#include <cstdio>

QString DataInput::read(const QString &fileName, QByteArray *data)
{
    QFile file(fileName);
    const bool isOpen = fileName.isEmpty() ? file.open(stdin, QIODevice::ReadOnly)
                                           : file.open(QIODevice::ReadOnly);
    if (isOpen)
        *data = file.readAll();
    if (isOpen && file.error() == QFileDevice::NoError)
        return QString();
    return QStringLiteral("%1 cannot be read: %2.")
        .arg(fileName.isEmpty() ? QStringLiteral("Standard input")
                                : QLatin1Char('"') + fileName + QLatin1Char('"'),
             file.errorString());
}
