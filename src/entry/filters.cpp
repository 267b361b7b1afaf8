#include "entry/filters.h"

#include "entry/text.h"

namespace {

// Both spellings of each name that is dropped in one way.
template <Drop drop>
constexpr auto spellingsOf() {
    std::array<std::string_view, 2 * namesOf<drop>().size()> spellings;
    auto next = spellings.begin();
    for (const DroppedName& one : droppedNames) {
        if ((one.drops & drop) != 0) {
            *next++ = one.name;
            *next++ = one.otherSpelling;
        }
    }
    return spellings;
}

constexpr auto dropList = spellingsOf<BY_MERGE>();
constexpr auto passThroughDropList = spellingsOf<FROM_PASS_THROUGH>();
constexpr auto passThroughNames = namesOf<FROM_PASS_THROUGH>();
constexpr NameSet passThroughNamesInAnyCase(passThroughNames);

// A bit for the first letter of a name, whatever its case.
constexpr std::uint32_t initialOf(std::string_view name) {
    constexpr unsigned caseless = 31;
    return std::uint32_t{1} << (static_cast<unsigned char>(name.front()) & caseless);
}

constexpr std::uint32_t initials = [] {
    std::uint32_t all = 0;
    for (const std::string_view name : dropList) {
        all |= initialOf(name);
    }
    return all;
}();

}  // namespace

bool isOnDropList(std::string_view name) {
    return (initials & initialOf(name)) != 0 &&  // few other names begin so
           std::find(dropList.begin(), dropList.end(), name) != dropList.end();
}

bool passThroughDrops(std::string_view colonPrefix, std::string_view tail) {
    return tail.starts_with(' ') &&
           passThroughNamesInAnyCase.matches(colonPrefix) &&  // which rules most prefixes out
           std::any_of(
               passThroughDropList.begin(), passThroughDropList.end(),
               [colonPrefix](std::string_view name) { return colonPrefix.ends_with(name); });
}

bool passThroughDrops(std::string_view text) {
    return someColonPrefix(text, [text](std::string_view colonPrefix) {
        return passThroughDrops(colonPrefix, text.substr(colonPrefix.size()));
    });
}
