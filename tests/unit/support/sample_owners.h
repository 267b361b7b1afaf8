// Owners of the sample entries, and the order in which they are looked up.
#pragma once

#include <string>
#include <vector>

#include "support/cache_state.h"
#include "support/dice.h"
#include "support/sample_entries.h"

// Empties the cache and opens slots 0 to `count` - 1 for the owners of these numbers.
inline void openSlots(OwnerTable& owners, int count, std::string (*ownerDn)(int)) {
    emptyCache();
    for (int number = 0; number < count; ++number) {
        owners.open(ownerDn(number) + "\n");
    }
}

// Five thousand numbers below `limit`, in an order that no processor can predict.
inline std::vector<int> randomNumbers(int limit) {
    Dice dice(1);
    std::vector<int> numbers(5'000);
    for (int& number : numbers) {
        number = static_cast<int>(dice.upTo(static_cast<std::size_t>(limit) - 1));
    }
    return numbers;
}
