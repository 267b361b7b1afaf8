// The attributes that the newer layout does not take over.
//
// Each of them is dropped in some of four ways, which differ in where they look and in which
// spellings they know:
//
//   from an entry that is passed through, a line that holds the name anywhere, its value included,
//   in one of two spellings and with a space behind it;
//   by the merge of two entries, a line of this name, in one of the two spellings;
//   by the filter of merged records and by that of unmerged entries (policies and resource
//   credentials), a line that holds the name anywhere, in any case.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "entry/names.h"

// The ways in which a name is dropped, to be combined.
enum Drop : unsigned {
    FROM_PASS_THROUGH = 1,
    BY_MERGE = 2,
    FROM_MERGED = 4,
    FROM_UNMERGED = 8,
};

// The kind of attribute that a name belongs to, for the counts of a report.
enum class DroppedKind : std::uint8_t { OBJECT_CLASS, ENTRY_IDENTIFIER, ACCESS_CONTROL };

struct DroppedName {
    std::string_view name;           // in lower case, with its colon
    std::string_view otherSpelling;  // where only two spellings count
    DroppedKind kind;
    unsigned drops;
};

// A merge drops object classes only from its second entry.
// clang-format off
inline constexpr auto droppedNames = std::to_array<DroppedName>({
    {"objectclass:", "objectClass:", DroppedKind::OBJECT_CLASS, BY_MERGE},
    {"kvo-entryuuid:", "KVO-ENTRYUUID:", DroppedKind::ENTRY_IDENTIFIER,
     FROM_PASS_THROUGH | BY_MERGE | FROM_MERGED | FROM_UNMERGED},
    {"aclentry:", "aclEntry:", DroppedKind::ACCESS_CONTROL, BY_MERGE | FROM_MERGED | FROM_UNMERGED},
    {"aci:", "ACI:", DroppedKind::ACCESS_CONTROL, BY_MERGE | FROM_MERGED | FROM_UNMERGED},
    {"acl:", "ACL:", DroppedKind::ACCESS_CONTROL, BY_MERGE | FROM_MERGED | FROM_UNMERGED},
    {"control:", "Control:", DroppedKind::ACCESS_CONTROL, BY_MERGE | FROM_UNMERGED},
    {"aclpropagate:", "aclPropagate:", DroppedKind::ACCESS_CONTROL, BY_MERGE},
});
// clang-format on

// The names that are dropped in one way, in lower case.
template <Drop drop>
constexpr auto namesOf() {
    constexpr auto isDropped = [](const DroppedName& one) { return (one.drops & drop) != 0; };
    constexpr auto count = std::count_if(droppedNames.begin(), droppedNames.end(), isDropped);
    std::array<std::string_view, static_cast<std::size_t>(count)> names;
    auto next = names.begin();
    for (const DroppedName& one : droppedNames) {
        if (isDropped(one)) {
            *next++ = one.name;
        }
    }
    return names;
}

inline constexpr auto namesFilteredFromMerged = namesOf<FROM_MERGED>();
inline constexpr auto namesFilteredFromUnmerged = namesOf<FROM_UNMERGED>();
inline constexpr NameSet mergedFilter(namesFilteredFromMerged);
inline constexpr NameSet unmergedFilter(namesFilteredFromUnmerged);

// Whether a merge drops a line of this name, its colon included.
bool isOnDropList(std::string_view name);

// Whether an entry that is passed through loses a line that holds `colonPrefix`, the line up to one
// of its colons, and `tail` behind it.
bool passThroughDrops(std::string_view colonPrefix, std::string_view tail);

// Whether it loses this line, or one of these lines.
bool passThroughDrops(std::string_view text);
