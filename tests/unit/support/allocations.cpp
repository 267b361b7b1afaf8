#include "support/allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

std::size_t allocationsLeft = unlimited;
std::size_t allocationsMade = 0;
std::size_t bytesHeld = 0;

bool mayAllocate() {
    if (allocationsLeft == 0) {
        return false;
    }
    if (allocationsLeft != unlimited) {
        --allocationsLeft;
    }
    ++allocationsMade;
    return true;
}

}  // namespace

AllocationLimit::AllocationLimit(std::size_t count) {
    allocationsLeft = count;
}

AllocationLimit::~AllocationLimit() {
    allocationsLeft = unlimited;
}

std::size_t allocationCount() {
    return allocationsMade;
}

std::size_t bytesInUse() {
    return bytesHeld;
}

void* operator new(std::size_t size) {
    for (;;) {
        void* memory = mayAllocate() ? std::malloc(size > 0 ? size : 1) : nullptr;
        if (memory != nullptr) {
            bytesHeld += malloc_usable_size(memory);
            return memory;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void operator delete(void* memory) noexcept {
    bytesHeld -= memory != nullptr ? malloc_usable_size(memory) : 0;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete[](void* memory) noexcept {
    operator delete(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    operator delete(memory);
}
