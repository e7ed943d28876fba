#ifndef SUGGESTION_H
#define SUGGESTION_H

#include <QStringList>

/// The right word for a wrong one.
namespace Suggestion {

/// How many letters must be put in, taken out or replaced, or neighbours be swapped, to make one
/// word of the other.
int distance(const QString &one, const QString &other);

/// The word that \a wrong most likely stands for; empty when none is near. The first of several.
QString nearest(const QString &wrong, const QStringList &words);

/// " Did you mean "length"?" with the nearest word, or nothing: to follow a sentence.
QString question(const QString &wrong, const QStringList &words);

} // namespace Suggestion

#endif
