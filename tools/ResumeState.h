#ifndef RESUMESTATE_H
#define RESUMESTATE_H

#include "EquipmentAddress.h"

#include <QByteArray>
#include <QJsonObject>

/// How far a load came that ended early, kept in a small file beside the data's file.
class ResumeState
{
public:
    /// Of a load of \a data to \a address.
    ResumeState(const EquipmentAddress &address, const QByteArray &data);

    static QString fileNameFor(const QString &dataFileName);

    /// Reads the offset that a load of the same data to the same place has left. What failed or
    /// does not fit, by name; empty when all is well.
    QString read(const QString &fileName);
    /// What failed; empty when nothing did.
    QString write(const QString &fileName) const;

    int offset() const;
    void setOffset(int offset);

private:
    QJsonObject json() const;

    EquipmentAddress m_address;
    int m_size;
    QByteArray m_hash;
    int m_offset = 0;
};

#endif
