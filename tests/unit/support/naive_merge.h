// A second, naive implementation of the merge: with copies whose lines are emptied one by one.
// In C++, not a table from tests/model: the fuzz target and the unit test merge whatever comes.
#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::string_view dropList[] = {
    "objectclass:",  "objectClass:",  "KVO-ENTRYUUID:", "kvo-entryuuid:", "control:", "Control:",
    "aclpropagate:", "aclPropagate:", "aclentry:",      "aclEntry:",      "acl:",     "ACL:",
    "aci:",          "ACI:"};

inline std::vector<std::string> naiveMerge(const std::vector<std::string>& firstLines,
                                           const std::vector<std::string>& secondLines) {
    using Slot = std::optional<std::string>;
    const auto isDropped = [](const std::string& name) {
        return std::count(std::begin(dropList), std::end(dropList), name) > 0;
    };
    const auto holds = [](const std::string& line, const std::string& text) {
        return strcasestr(line.c_str(), text.c_str()) != nullptr;
    };
    std::vector<std::string> result;
    std::vector<Slot> first(firstLines.begin(), firstLines.end());
    std::vector<Slot> second(secondLines.begin(), secondLines.end());
    const auto take = [&result](Slot& slot) {
        result.push_back(*slot);
        slot.reset();
    };
    for (Slot& slot : first) {
        const std::string line = *slot;
        if (line.find("objectclass:") != std::string::npos ||
            line.find("objectClass:") != std::string::npos) {
            take(slot);
            continue;
        }
        const std::string name = line.substr(0, line.find(':') + 1);
        if (name == "dn:" || name == "DN:") {
            take(slot);
            continue;
        }
        if (isDropped(name)) {
            continue;
        }
        std::size_t j = 0;
        while (j < second.size() && !(second[j] && holds(*second[j], name))) {
            ++j;
        }
        if (j == second.size()) {
            take(slot);
        } else if (holds(line, "secauthority:")) {
            take(slot);
            second[j].reset();
        } else {
            take(second[j]);
            slot.reset();
        }
    }
    for (Slot& slot : second) {
        if (!slot) {
            continue;
        }
        const std::string name = slot->substr(0, slot->find(':') + 1);
        if (name != "dn:" && name != "DN:" && !isDropped(name)) {
            take(slot);
        }
    }
    return result;
}
