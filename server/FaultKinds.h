#ifndef FAULTKINDS_H
#define FAULTKINDS_H

#include "Fault.h"

#include <QStringList>
#include <QVector>

/// The names of all kinds of fault and what each of them takes.
namespace FaultKinds {

struct Parameter
{
    const char *name;
    qint64 smallest;
    qint64 largest;
    qint64 initial;
    QStringList choices = QStringList(); ///< when not empty, one of these, as its index
};

struct Entry
{
    QString name;
    Fault::Kind kind;
    QVector<Parameter> parameters;
};

const QVector<Entry> &all();
QStringList names();

} // namespace FaultKinds

#endif
