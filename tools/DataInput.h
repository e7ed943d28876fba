#ifndef DATAINPUT_H
#define DATAINPUT_H

#include <QByteArray>
#include <QString>

/// Whole files into memory.
namespace DataInput {

/// Reads \a fileName or, when that is empty, standard input. What failed; empty when nothing did.
QString read(const QString &fileName, QByteArray *data);

} // namespace DataInput

#endif
