#ifndef LIVINGOBJECTS_H
#define LIVINGOBJECTS_H

#include <QObject>
#include <QSet>
#include <QVector>

/// The QObjects of the process, on all threads, that were made since `start` and still stand. So
/// what the library keeps on purpose can be counted, and released, after each execution.
namespace LivingObjects {

/// Forgets those that stand.
void start();
QSet<QObject *> all();

// An object may only be looked at by the thread that made it, while others run.

/// Those that the calling thread has made.
QSet<QObject *> madeHere();
/// Those of them that were made since the last call.
QVector<QObject *> takeNew();

} // namespace LivingObjects

#endif
