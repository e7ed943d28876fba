#ifndef LIVINGOBJECTS_H
#define LIVINGOBJECTS_H

#include <QObject>
#include <QSet>

/// The QObjects of the process, on all threads, that were made since `start` and still stand. So
/// what the library keeps on purpose can be counted, and released, after each execution.
namespace LivingObjects {

/// Forgets those that stand; call it once, or whenever all others are accounted for.
void start();
QSet<QObject *> all();

} // namespace LivingObjects

#endif
