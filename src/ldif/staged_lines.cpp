#include "ldif/staged_lines.h"

#include <cstddef>
#include <string>

#include "entry/attribute_lookup.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"

namespace {

// Calls `take` with the lines that hold a colon for which `isChanged` is true, each with the result
// of `change`, and with the lines between them unchanged. `isChanged` gets the text up to the colon
// and the text behind it.
template <class IsChanged, class Change>
void visitLines(std::string_view attributes, IsChanged isChanged, Change change,
                const StagedLinesTaker& take) {
    std::size_t taken = 0;
    const auto takeUnchanged = [&](std::size_t end) {
        if (end > taken) {
            const std::string_view lines = attributes.substr(taken, end - taken);
            take(lines, lines);
        }
    };
    someColonPrefix(attributes, [&](std::string_view colonPrefix) {
        if (colonPrefix.size() > taken &&
            isChanged(colonPrefix, attributes.substr(colonPrefix.size()))) {
            const std::size_t colon = colonPrefix.size() - 1;
            const std::size_t start = attributes.rfind('\n', colon) + 1;
            takeUnchanged(start);
            taken = attributes.find('\n', colon) + 1;
            const std::string_view line = attributes.substr(start, taken - start);
            take(line, change(line));
        }
        return false;
    });
    takeUnchanged(attributes.size());
}

}  // namespace

bool belongsInOutput() {
    switch (objectClass) {
        case UNINTERESTING_OBJECTCLASS:
        case SECAUTHORITYINFO_OBJECTCLASS:
        case CONTAINER_OBJECTCLASS:
            return true;
        case SECPOLICY_OBJECTCLASS:  // if it is already in the newer layout
            return dostristr(obtainAttributeFromObjectArray(0), "cn=Policies,secAuthority=") !=
                   nullptr;
        default:
            return false;
    }
}

void visitOutputLines(std::string_view attributes, const StagedLinesTaker& take) {
    const auto isDropped = [](std::string_view colonPrefix, std::string_view tail) {
        return passThroughDrops(colonPrefix, tail);
    };
    visitLines(
        attributes, isDropped, [](std::string_view) { return std::string_view(); }, take);
}

void visitWorkFileLines(std::string_view attributes, const StagedLinesTaker& take) {
    // This one spelling alone: owners are compared without the spaces beside their commas anyway.
    // Entry identifiers stay; they are dropped when the new entries are written.
    const auto isNormalized = [](std::string_view colonPrefix, std::string_view) {
        return colonPrefix.ends_with("secdn:");
    };
    std::string normalized;
    visitLines(
        attributes, isNormalized,
        [&normalized](std::string_view line) {
            normalized = line;
            commaSpaceEater(normalized);
            return std::string_view(normalized);
        },
        take);
}
