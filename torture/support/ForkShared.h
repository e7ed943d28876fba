#ifndef FORKSHARED_H
#define FORKSHARED_H

#include <QtGlobal>

#include <new>

#include <sys/mman.h>

/// An object that this process shares with those that it forks.
template <typename Object>
class ForkShared
{
public:
    /// One that stays until the process ends.
    static Object *create()
    {
        void *const memory = mmap(nullptr, sizeof(Object), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            qFatal("no shared memory");
        return new (memory) Object;
    }

    ForkShared()
        : m_object(create())
    { }

    ~ForkShared()
    {
        m_object->~Object();
        munmap(m_object, sizeof(Object));
    }

    Object *operator->() const
    {
        return m_object;
    }

private:
    Q_DISABLE_COPY_MOVE(ForkShared)

    Object *const m_object;
};

#endif
