#ifndef READBYTEFORM_H
#define READBYTEFORM_H

#include <QByteArray>
#include <QDataStream>
#include <QString>

/// What a package's byte form says, read field by field: the library itself only writes it.
struct ReadByteForm
{
    explicit ReadByteForm(const QByteArray &bytes, bool isRead, bool isWrite)
    {
        QDataStream stream(bytes);
        stream.setByteOrder(QDataStream::LittleEndian);
        stream.setVersion(QDataStream::Qt_5_12);
        stream >> version >> serialNum >> readWriteCode >> clientPackageType >> connectionKey
            >> deviceType >> portAddr >> scanBoardAddr >> desAddr >> scrAddr >> highAddr >> lowAddr
            >> reserved2 >> timeout >> tag;
        if (isRead)
            stream >> readLength;
        if (isWrite)
            stream >> data;
        isWhole = stream.status() == QDataStream::Ok && stream.atEnd();
    }

    quint8 version = 0;
    quint64 serialNum = 0;
    qint32 readWriteCode = 0;
    qint32 clientPackageType = 0;
    QString connectionKey;
    qint32 deviceType = 0;
    qint8 portAddr = 0;
    qint32 scanBoardAddr = 0;
    qint8 desAddr = 0;
    qint8 scrAddr = 0;
    quint16 highAddr = 0;
    quint16 lowAddr = 0;
    qint32 reserved2 = 0;
    qint32 timeout = 0;
    QString tag;
    qint32 readLength = 0;
    QByteArray data;
    bool isWhole = false;
};

#endif
