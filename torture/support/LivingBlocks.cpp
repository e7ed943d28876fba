#include "LivingBlocks.h"

#include "CallStack.h"
#include "ForkShared.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int StackKept = 30;

struct Block
{
    void *place;
    int depth;
    void *stack[StackKept];
};

constexpr std::size_t BlockCount = 1 << 16;

/// Found by the block's place, the next free one when that is taken. Shared with the processes that
/// this one forks: whoever holds the lock at that moment must be able to give it back.
struct Table
{
    std::atomic_flag lock = ATOMIC_FLAG_INIT;
    Block blocks[BlockCount];
};

void *const Gone = reinterpret_cast<void *>(1);

Table *table = nullptr;
std::atomic<bool> isTracking{false};

class Locker
{
public:
    Locker()
    {
        while (table->lock.test_and_set(std::memory_order_acquire)) { }
    }
    ~Locker()
    {
        table->lock.clear(std::memory_order_release);
    }

private:
    Q_DISABLE_COPY_MOVE(Locker)
};

std::size_t firstIndex(const void *place)
{
    return (reinterpret_cast<std::uintptr_t>(place) >> 4) * 2654435761U;
}

Block &blockAt(std::size_t index)
{
    return table->blocks[index % BlockCount];
}

bool stands(const Block &block)
{
    return block.place != nullptr && block.place != Gone;
}

void keep(const Block &block)
{
    const Locker locker;
    std::size_t index = firstIndex(block.place);
    while (stands(blockAt(index)))
        ++index;
    blockAt(index) = block;
}

} // namespace

void LivingBlocks::start()
{
    CallStack::findModules();
    table = ForkShared<Table>::create();
    isTracking = true;
}

void LivingBlocks::add(void *place, bool isMainThread)
{
    if (!isTracking)
        return;
    Block block;
    block.place = place;
    block.depth = CallStack::take(block.stack, StackKept);
    if (isMainThread || CallStack::hasLibrary(block.stack, block.depth))
        keep(block);
}

void LivingBlocks::remove(const void *place)
{
    if (place == nullptr || table == nullptr)
        return;
    const Locker locker;
    for (std::size_t i = firstIndex(place); blockAt(i).place != nullptr; ++i) {
        if (blockAt(i).place == place) {
            blockAt(i).place = Gone;
            break;
        }
    }
}

int LivingBlocks::survivors()
{
    isTracking = false;
    int count = 0;
    for (std::size_t i = 0; i < BlockCount; ++i) {
        const Block &block = blockAt(i);
        if (!stands(block) || CallStack::isKept(block.stack, block.depth))
            continue;
        ++count;
        if (getenv("KSPROXY_SHOW_SURVIVORS") != nullptr) {
            std::fprintf(stderr, "a survivor, made at\n");
            CallStack::print(block.stack, block.depth);
        }
    }
    return count;
}
