#include "support/allocations.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

std::size_t allocationsLeft = unlimited;
std::size_t allocationsMade = 0;

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

void* operator new(std::size_t size) {
    for (;;) {
        void* memory = mayAllocate() ? std::malloc(size > 0 ? size : 1) : nullptr;
        if (memory != nullptr) {
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
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
