// Random bits of this process, which nobody outside knows.
//
// The kernel passes 16 random bytes to every program that it starts. Reading them takes no system
// call, no memory and no file, so that nothing can fail or be forbidden.
#pragma once

#include <array>
#include <cstdint>

// The same bits whenever it is called; other ones in every process.
std::array<std::uint64_t, 2> randomBits();
