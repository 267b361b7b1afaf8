#include "check/inventory.h"

#include <algorithm>

Inventory inventory;
std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines = {};

void countRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] += lines;
}

void discountRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] -= lines;
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

void countMemory(bool isGroup, std::uint64_t bytes) {
    (isGroup ? inventory.groupMemory : inventory.userMemory) += bytes;
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
