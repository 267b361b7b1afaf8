// Memory that runs out when a test wants it to.
//
// operator new of every test program is replaced. Until a test counts, it is an ordinary one.
#pragma once

#include <cstddef>

// Lets `count` more allocations succeed and all others fail, through the new handler as the
// standard requires, until the object goes. Meant for the statement of a death test, or for code
// that makes no use of memory it could not get.
class AllocationLimit {
public:
    explicit AllocationLimit(std::size_t count);
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
    ~AllocationLimit();
};

// The number of allocations since the program began; the difference of two calls is the number that
// the code between them has needed.
std::size_t allocationCount();

// The bytes allocated and not freed yet.
std::size_t bytesInUse();
