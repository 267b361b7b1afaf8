// Attribute names looked for at the ends of heads.
//
// A head is a line up to one of its colons. Attribute names, each with its colon, end there and
// nowhere else; whether a line holds a name anywhere comes down to how its heads end.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "entry/text.h"

// Names, each with its colon and in any case. They must outlive the set.
class NameSet {
public:
    explicit constexpr NameSet(std::span<const std::string_view> names) : names_(names) {
        for (const std::string_view name : names) {
            lastLetters_ |= lastLetterOf(name);
        }
    }

    // Whether `head` ends in one of the names, without regard to case.
    bool matches(std::string_view colonPrefix) const {
        return (lastLetters_ & lastLetterOf(colonPrefix)) != 0 &&
               std::any_of(names_.begin(), names_.end(), [colonPrefix](std::string_view name) {
                   return endsIgnoringCase(colonPrefix, name);
               });
    }

    // Whether `line` holds one of the names.
    bool matchesSome(std::string_view line) const {
        return someColonPrefix(
            line, [this](std::string_view colonPrefix) { return matches(colonPrefix); });
    }

private:
    // A bit for what stands before the colon, whatever its case. Most heads are told apart by it.
    static constexpr std::uint32_t lastLetterOf(std::string_view colonPrefix) {
        constexpr unsigned withoutCase = 31;
        if (colonPrefix.size() < 2) {
            return ~std::uint32_t{0};  // a colon alone, which any head may end in
        }
        const auto last = static_cast<unsigned char>(colonPrefix[colonPrefix.size() - 2]);
        return std::uint32_t{1} << (last & withoutCase);
    }

    std::span<const std::string_view> names_;
    std::uint32_t lastLetters_ = 0;
};
