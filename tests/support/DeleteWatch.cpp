#include "DeleteWatch.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

// As a number: the memory behind it will be gone.
std::atomic<std::uintptr_t> watched{0};
std::atomic<int> deletions{0};

void *allocate(std::size_t size) noexcept
{
    return std::malloc(size == 0 ? 1 : size);
}

void *allocateOrThrow(std::size_t size)
{
    if (void *const memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

void deallocate(void *memory) noexcept
{
    if (memory != nullptr && reinterpret_cast<std::uintptr_t>(memory) == watched)
        ++deletions;
    std::free(memory);
}

} // namespace

void DeleteWatch::watch(const void *memory)
{
    deletions = 0;
    watched = reinterpret_cast<std::uintptr_t>(memory);
}

int DeleteWatch::count()
{
    return deletions;
}

// All forms, so that none of them meets memory from another allocator.

void *operator new(std::size_t size)
{
    return allocateOrThrow(size);
}

void *operator new[](std::size_t size)
{
    return allocateOrThrow(size);
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return allocate(size);
}

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    return allocate(size);
}

void operator delete(void *memory) noexcept
{
    deallocate(memory);
}

void operator delete[](void *memory) noexcept
{
    deallocate(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    deallocate(memory);
}

void operator delete[](void *memory, std::size_t) noexcept
{
    deallocate(memory);
}

void operator delete(void *memory, const std::nothrow_t &) noexcept
{
    deallocate(memory);
}

void operator delete[](void *memory, const std::nothrow_t &) noexcept
{
    deallocate(memory);
}
