#ifndef KEYCHECK_H
#define KEYCHECK_H

#include "SessionError.h"

#include <QStringList>

/// No error when \a key is one of \a keys; otherwise `NoEquipment`, naming those that there are and
/// the one that was probably meant.
SessionError checkedKey(const QString &key, const QStringList &keys);

#endif
