// Memory for the buffers of the program's readers and files, kept from one execution to the next.
//
// A migration takes half a dozen of them. New memory for each would be half of the time that an
// execution takes. While a block is not in use, touching it is an error like touching freed memory.
#include <sanitizer/asan_interface.h>

#include <array>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t bufferSize = 256 * 1024;

struct Block {
    void* memory = nullptr;
    bool isTaken = false;
};

std::array<Block, 8> blocks;

void* allocate(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    if (size != bufferSize) {
        return allocate(size);
    }
    for (Block& block : blocks) {
        if (!block.isTaken) {
            block.memory = block.memory != nullptr ? block.memory : allocate(size);
            block.isTaken = true;
            ASAN_UNPOISON_MEMORY_REGION(block.memory, size);
            return block.memory;
        }
    }
    return allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size);
}

void operator delete(void* memory) noexcept {
    for (Block& block : blocks) {
        if (block.isTaken && block.memory == memory) {
            block.isTaken = false;
            ASAN_POISON_MEMORY_REGION(memory, bufferSize);
            return;
        }
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
