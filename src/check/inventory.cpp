#include "check/inventory.h"

#include <algorithm>
#include <bit>

Inventory inventory;
std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines = {};

void countRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] += lines;
}

void countExport(std::uint64_t bytes) {
    inventory.bytes = bytes;
}

void countEntry(ObjectClass kind) {
    ++inventory.entries;
    ++inventory.byClass[static_cast<std::size_t>(kind)];
}

void countOwner(bool isGroup) {
    ++(isGroup ? inventory.groups : inventory.users);
}

void countEntryOf(std::uint32_t owner) {
    inventory.turns += owner < inventory.lastOwner ? 1 : 0;
    inventory.lastOwner = owner;
}

void countReading(std::uint64_t read, std::uint64_t unfolded) {
    // An entry grows to the next power of two. The smaller block is freed only after it has been
    // copied, so that both are in use for a moment.
    inventory.reading = std::max({inventory.reading, std::bit_ceil(read), read + unfolded});
    inventory.read = std::max(inventory.read, read);
    inventory.unfolded = std::max(inventory.unfolded, unfolded);
}

void countWorkFile(std::uint64_t bytes) {
    inventory.workFileBytes += bytes;
}

void countOutput(std::uint64_t bytes) {
    inventory.outputBytes += bytes;
}

void discountOutput(std::uint64_t bytes) {
    inventory.outputBytes -= std::min(bytes, inventory.outputBytes);
}

void forgetInventory() {
    inventory = Inventory();
    ruleLines = {};
}
