#ifndef OWNTHREAD_H
#define OWNTHREAD_H

#include "SessionError.h"

class QObject;

/// What the objects of a session answer a thread that they do not live on.
namespace OwnThread {

/// Whether \a object lives on the calling thread; if not, a warning names \a operation.
bool isCallers(const QObject *object, const char *operation);

SessionError error();

} // namespace OwnThread

#endif
