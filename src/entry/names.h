// Attribute names looked for at the ends of colon prefixes.
//
// A colon prefix is a line up to and including one of its colons. Attribute names, each with its
// colon, end there and nowhere else: a line holds a name anywhere when one of its prefixes ends in
// it.
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

    // Whether `colonPrefix` ends in one of the names, in any case.
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
    // A bit for the character before the colon, whatever its case. It rules most prefixes out.
    static constexpr std::uint32_t lastLetterOf(std::string_view colonPrefix) {
        constexpr unsigned withoutCase = 31;
        if (colonPrefix.size() < 2) {
            return ~std::uint32_t{0};  // a colon alone, which any prefix may end in
        }
        const auto last = static_cast<unsigned char>(colonPrefix[colonPrefix.size() - 2]);
        return std::uint32_t{1} << (last & withoutCase);
    }

    std::span<const std::string_view> names_;
    std::uint32_t lastLetters_ = 0;
};
