#include "check/inventory.h"

Inventory inventory;
std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines = {};

void countRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] += lines;
}

void discountRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] -= lines;
}

void forgetInventory() {
    inventory = Inventory();
    ruleLines = {};
}
