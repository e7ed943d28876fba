#include "DeletionWatch.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<void *> watched{nullptr};
std::atomic<int> count{0};

} // namespace

void *operator new(std::size_t size)
{
    if (void *const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    if (memory != nullptr && memory == watched)
        ++count;
    else
        std::free(memory);
}

void operator delete(void *memory, std::size_t size) noexcept
{
    static_cast<void>(size);
    operator delete(memory);
}

DeletionWatch::DeletionWatch(void *object)
    : m_object(object)
{
    count = 0;
    watched = object;
}

DeletionWatch::~DeletionWatch()
{
    watched = nullptr;
    operator delete(m_object);
}

int DeletionWatch::deletions() const
{
    return count;
}
