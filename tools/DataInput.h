#ifndef DATAINPUT_H
#define DATAINPUT_H

#include <QByteArray>
#include <QString>

/// Whole files into memory.
namespace DataInput {

/// Reads \a fileName or, when that is empty, standard input, into \a data, which is empty. What
/// failed, also when there are more than \a most bytes; empty when nothing did.
QString read(const QString &fileName, int most, QByteArray *data);

} // namespace DataInput

#endif
