#include "driver/platform/random.h"

#include <sys/auxv.h>

#include <bit>
#include <cstring>

std::array<std::uint64_t, 2> randomBits() {
    std::array<std::uint64_t, 2> bits = {};
    const void* given = std::bit_cast<const void*>(getauxval(AT_RANDOM));
    if (given != nullptr) {  // as on every Linux since 2009
        std::memcpy(bits.data(), given, sizeof bits);
    }
    return bits;
}
